#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

// One prepared SQLite statement: bind the parameters in order, then step through the rows.
class Statement {
public:
    Statement(sqlite3* db, std::string_view sql);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    template <typename... Values> Statement& bind(const Values&... values) {
        int index = 0;
        (bindAt(++index, values), ...);
        return *this;
    }
    // True while there is a row to read; false once the statement is done.
    bool step();
    // Runs the statement to its end.
    void run();

    std::int64_t integer(int column) const;
    std::string text(int column) const;
    std::optional<std::string> optionalText(int column) const;
    std::optional<std::int64_t> optionalInteger(int column) const;

private:
    void bindAt(int index, std::int64_t value);
    void bindAt(int index, int value) { bindAt(index, std::int64_t(value)); }
    void bindAt(int index, std::string_view value);
    void bindAt(int index, const std::string& value) { bindAt(index, std::string_view(value)); }
    void bindAt(int index, const char* value) { bindAt(index, std::string_view(value)); }
    void bindAt(int index, const std::optional<std::string>& value);
    void check(int code) const;

    sqlite3* m_db;
    sqlite3_stmt* m_statement = nullptr;
};

// An open SQLite file; every failure is a std::runtime_error with SQLite's message.
class Database {
public:
    explicit Database(const std::string& file);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    void exec(const std::string& sql);
    Statement prepare(std::string_view sql) { return Statement(m_db, sql); }
    std::int64_t lastInsertId() const;
    int changes() const;

private:
    sqlite3* m_db = nullptr;
};

// BEGIN on construction; ROLLBACK on destruction unless commit() ran, so that a statement that throws halfway
// leaves neither half its changes nor an open transaction that would refuse the next BEGIN.
class Transaction {
public:
    explicit Transaction(Database& db);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void commit();

private:
    Database& m_db;
    bool m_open = true;
};
