#include "os/linux/LibsecretStore.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QLoggingCategory>
#include <QObject>
#include <QVariantMap>

#undef signals // glib headers use the word
#include <libsecret/secret.h>

Q_LOGGING_CATEGORY(lcLibsecret, "secrets.libsecret")

namespace os {

// Receives the Secret Service's property changes; the D-Bus slot needs a QObject of its own.
class SecretUnlockWatch : public QObject {
    Q_OBJECT
public:
    explicit SecretUnlockWatch(std::function<void()> unlocked) : m_unlocked(std::move(unlocked)) {
        QDBusConnection::sessionBus().connect(service(), QString(), properties(),
                                              QStringLiteral("PropertiesChanged"), this,
                                              SLOT(propertiesChanged(QString, QVariantMap, QStringList)));
    }
    ~SecretUnlockWatch() override {
        QDBusConnection::sessionBus().disconnect(service(), QString(), properties(),
                                                 QStringLiteral("PropertiesChanged"), this,
                                                 SLOT(propertiesChanged(QString, QVariantMap, QStringList)));
    }

    static QString service() { return QStringLiteral("org.freedesktop.secrets"); }

private slots:
    void propertiesChanged(const QString& interface, const QVariantMap& changed, const QStringList&) {
        const auto locked = changed.constFind(QStringLiteral("Locked"));
        if (interface == QLatin1String("org.freedesktop.Secret.Collection") && locked != changed.cend() &&
            !locked->toBool())
            m_unlocked();
    }

private:
    static QString properties() { return QStringLiteral("org.freedesktop.DBus.Properties"); }

    std::function<void()> m_unlocked;
};

namespace {

const SecretSchema* schema() {
    static const SecretSchema s = [] {
        SecretSchema schema = {};
        schema.name = "app.orvane.Orvane.Key";
        schema.flags = SECRET_SCHEMA_DONT_MATCH_NAME;
        schema.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
        schema.attributes[1] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
        return schema;
    }();
    return &s;
}

// Owns a GError and logs it by category.
struct Error {
    GError* e = nullptr;
    ~Error() {
        if (e) g_error_free(e);
    }
    bool failed(const char* what) const {
        if (!e) return false;
        qCWarning(lcLibsecret) << what << "failed:" << e->message;
        return true;
    }
    int status() const { return e && e->code ? e->code : -1; }
};

// The items of one account, unlocked where the keyring lets us: this is where a locked keyring prompts, and
// the call waits for the answer.
struct Search {
    Search(const QString& service, const QString& account, SecretSearchFlags flags)
        : s(service.toUtf8()), a(account.toUtf8()), attrs(g_hash_table_new(g_str_hash, g_str_equal)) {
        g_hash_table_insert(attrs, const_cast<char*>("service"), const_cast<char*>(s.constData()));
        g_hash_table_insert(attrs, const_cast<char*>("account"), const_cast<char*>(a.constData()));
        svc = secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, nullptr, &error.e);
        if (error.failed("connect")) return;
        items = secret_service_search_sync(
            svc, schema(), attrs, SecretSearchFlags(flags | SECRET_SEARCH_UNLOCK), nullptr, &error.e);
        error.failed("search");
    }
    ~Search() {
        g_list_free_full(items, g_object_unref);
        if (svc) g_object_unref(svc);
        g_hash_table_unref(attrs);
    }
    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;

    bool locked() const {
        for (GList* i = items; i; i = i->next)
            if (secret_item_get_locked(SECRET_ITEM(i->data))) return true;
        return false;
    }
    SecretItem* first() const { return items ? SECRET_ITEM(items->data) : nullptr; }

    const QByteArray s, a; // the attributes point into these
    GHashTable* attrs;
    Error error;
    SecretService* svc = nullptr;
    GList* items = nullptr;
};

// The bus answers these questions itself, so a hung keyring cannot hold them up.
QDBusMessage askBus(const QString& method, const QVariantList& arguments) {
    QDBusMessage ask = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                                      QStringLiteral("/org/freedesktop/DBus"),
                                                      QStringLiteral("org.freedesktop.DBus"), method);
    ask.setArguments(arguments);
    return QDBusConnection::sessionBus().call(ask);
}

// Someone owns the name, or the bus can start a program that will: StartServiceByName fails when nothing can
// (no keyring installed, or its daemon dead), and answers only for names that have a service file.
bool secretServiceAnswers() {
    const QString name = SecretUnlockWatch::service();
    if (!QDBusConnection::sessionBus().isConnected()) return false;
    const QDBusMessage owned = askBus(QStringLiteral("NameHasOwner"), {name});
    if (owned.type() == QDBusMessage::ReplyMessage && owned.arguments().value(0).toBool()) return true;
    return askBus(QStringLiteral("StartServiceByName"), {name, 0u}).type() == QDBusMessage::ReplyMessage;
}

} // namespace

LibsecretStore::LibsecretStore(QString fallbackPath) : m_file(std::move(fallbackPath)) {}

LibsecretStore::~LibsecretStore() = default;

bool LibsecretStore::onSecretService() {
    std::call_once(m_asked, [this] {
        m_onSecretService = secretServiceAnswers();
        if (!m_onSecretService)
            qCWarning(lcLibsecret).noquote()
                << "no Secret Service on the session bus; keys are kept in" << m_file.path();
    });
    return m_onSecretService;
}

SecretLookup LibsecretStore::find(const QString& service, const QString& account) {
    if (!onSecretService()) return m_file.find(service, account);
    const Search search(service, account, SECRET_SEARCH_LOAD_SECRETS);
    if (search.error.e || search.locked()) return {SecretLookup::Unreadable, {}};
    if (!search.first()) return {SecretLookup::Missing, {}};
    SecretValue* value = secret_item_get_secret(search.first());
    if (!value) return {SecretLookup::Unreadable, {}};
    gsize length = 0;
    const gchar* data = secret_value_get(value, &length);
    QByteArray secret(data, qsizetype(length));
    secret_value_unref(value);
    return {SecretLookup::Found, secret};
}

int LibsecretStore::put(const QString& service, const QString& account, const QString& label,
                        const QByteArray& secret) {
    if (!onSecretService()) return m_file.put(service, account, label, secret);
    const Search search(service, account, SECRET_SEARCH_NONE);
    if (search.error.e) return search.error.status();
    SecretValue* value = secret_value_new(secret.constData(), secret.size(), "text/plain");
    Error error;
    if (search.first()) {
        // Update in place: the item keeps its label.
        secret_item_set_secret_sync(search.first(), value, nullptr, &error.e);
        error.failed("update");
    } else {
        secret_service_store_sync(search.svc, schema(), search.attrs, SECRET_COLLECTION_DEFAULT,
                                  label.toUtf8().constData(), value, nullptr, &error.e);
        error.failed("store");
    }
    secret_value_unref(value);
    return error.e ? error.status() : 0;
}

bool LibsecretStore::remove(const QString& service, const QString& account) {
    if (!onSecretService()) return m_file.remove(service, account);
    const Search search(service, account, SECRET_SEARCH_ALL);
    if (search.error.e || search.locked()) return false;
    for (GList* i = search.items; i; i = i->next) {
        Error error;
        secret_item_delete_sync(SECRET_ITEM(i->data), nullptr, &error.e);
        if (error.failed("delete")) return false;
    }
    return true;
}

void LibsecretStore::watchUnlock(std::function<void()> unlocked) {
    m_watch.reset();
    if (unlocked) m_watch = std::make_unique<SecretUnlockWatch>(std::move(unlocked));
}

} // namespace os

#include "LibsecretStore.moc"
