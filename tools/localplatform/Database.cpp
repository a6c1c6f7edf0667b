#include "Database.h"

#include <sqlite3.h>
#include <stdexcept>

Statement::Statement(sqlite3* db, std::string_view sql) : m_db(db) {
    check(sqlite3_prepare_v2(db, sql.data(), int(sql.size()), &m_statement, nullptr));
}

Statement::~Statement() {
    sqlite3_finalize(m_statement);
}

bool Statement::step() {
    const int code = sqlite3_step(m_statement);
    if (code == SQLITE_ROW) return true;
    if (code == SQLITE_DONE) return false;
    check(code);
    return false;
}

void Statement::run() {
    while (step()) {
    }
}

std::int64_t Statement::integer(int column) const {
    return sqlite3_column_int64(m_statement, column);
}

std::string Statement::text(int column) const {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(m_statement, column));
    return bytes ? std::string(bytes, std::size_t(sqlite3_column_bytes(m_statement, column))) : std::string();
}

std::optional<std::string> Statement::optionalText(int column) const {
    if (sqlite3_column_type(m_statement, column) == SQLITE_NULL) return std::nullopt;
    return text(column);
}

std::optional<std::int64_t> Statement::optionalInteger(int column) const {
    if (sqlite3_column_type(m_statement, column) == SQLITE_NULL) return std::nullopt;
    return integer(column);
}

void Statement::bindAt(int index, std::int64_t value) {
    check(sqlite3_bind_int64(m_statement, index, value));
}

void Statement::bindAt(int index, std::string_view value) {
    check(sqlite3_bind_text(m_statement, index, value.data(), int(value.size()), SQLITE_TRANSIENT));
}

void Statement::bindAt(int index, const std::optional<std::string>& value) {
    if (value)
        bindAt(index, *value);
    else
        check(sqlite3_bind_null(m_statement, index));
}

void Statement::check(int code) const {
    if (code != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(m_db));
}

Database::Database(const std::string& file) {
    if (sqlite3_open(file.c_str(), &m_db) != SQLITE_OK) {
        const std::string message = m_db ? sqlite3_errmsg(m_db) : "out of memory";
        sqlite3_close(m_db);
        throw std::runtime_error("cannot open " + file + ": " + message);
    }
}

Database::~Database() {
    sqlite3_close(m_db);
}

void Database::exec(const std::string& sql) {
    char* error = nullptr;
    if (sqlite3_exec(m_db, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
        const std::string message = error ? error : sqlite3_errmsg(m_db);
        sqlite3_free(error);
        throw std::runtime_error(message);
    }
}

std::int64_t Database::lastInsertId() const {
    return sqlite3_last_insert_rowid(m_db);
}

int Database::changes() const {
    return sqlite3_changes(m_db);
}

Transaction::Transaction(Database& db) : m_db(db) {
    m_db.exec("BEGIN");
}

Transaction::~Transaction() {
    if (!m_open) return;
    try {
        m_db.exec("ROLLBACK");
    } catch (const std::exception&) {
        // SQLite has rolled back by itself already (as after a full disk); nothing is left open.
    }
}

void Transaction::commit() {
    m_db.exec("COMMIT");
    m_open = false;
}
