#include "os/linux/LibsecretStore.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QLoggingCategory>

#undef signals // glib headers use the word
#include <libsecret/secret.h>

Q_LOGGING_CATEGORY(lcLibsecret, "secrets.libsecret")

namespace os {
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
        if (e)
            g_error_free(e);
    }
    bool failed(const char* what) const {
        if (!e)
            return false;
        qCWarning(lcLibsecret) << what << "failed:" << e->message;
        return true;
    }
};

GHashTable* attributes(const QByteArray& service, const QByteArray& account) {
    GHashTable* table = g_hash_table_new(g_str_hash, g_str_equal);
    g_hash_table_insert(table, const_cast<char*>("service"), const_cast<char*>(service.constData()));
    g_hash_table_insert(table, const_cast<char*>("account"), const_cast<char*>(account.constData()));
    return table;
}

} // namespace

bool LibsecretStore::available() {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return false;
    const QString name = QStringLiteral("org.freedesktop.secrets");
    QDBusConnectionInterface* iface = bus.interface();
    return iface->isServiceRegistered(name).value() || iface->activatableServiceNames().value().contains(name);
}

std::optional<QByteArray> LibsecretStore::find(const QString& service, const QString& account) {
    Error error;
    const QByteArray s = service.toUtf8(), a = account.toUtf8();
    SecretValue* value = secret_password_lookup_binary_sync(schema(), nullptr, &error.e, "service", s.constData(),
                                                            "account", a.constData(), nullptr);
    if (error.failed("lookup") || !value)
        return std::nullopt;
    gsize length = 0;
    const gchar* data = secret_value_get(value, &length);
    QByteArray secret(data, qsizetype(length));
    secret_value_unref(value);
    return secret;
}

int LibsecretStore::put(const QString& service, const QString& account, const QString& label,
                        const QByteArray& secret) {
    Error error;
    SecretService* svc = secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, nullptr, &error.e);
    if (error.failed("connect"))
        return error.e->code ? error.e->code : -1;
    const QByteArray s = service.toUtf8(), a = account.toUtf8();
    GHashTable* attrs = attributes(s, a);
    SecretValue* value = secret_value_new(secret.constData(), secret.size(), "text/plain");
    GList* found = secret_service_search_sync(svc, schema(), attrs, SECRET_SEARCH_UNLOCK, nullptr, &error.e);
    int status = 0;
    if (error.failed("search")) {
        status = error.e->code ? error.e->code : -1;
    } else if (found) {
        // Update in place: the item keeps its label.
        Error setError;
        secret_item_set_secret_sync(SECRET_ITEM(found->data), value, nullptr, &setError.e);
        if (setError.failed("update"))
            status = setError.e->code ? setError.e->code : -1;
    } else {
        Error storeError;
        secret_service_store_sync(svc, schema(), attrs, SECRET_COLLECTION_DEFAULT, label.toUtf8().constData(), value,
                                  nullptr, &storeError.e);
        if (storeError.failed("store"))
            status = storeError.e->code ? storeError.e->code : -1;
    }
    g_list_free_full(found, g_object_unref);
    secret_value_unref(value);
    g_hash_table_unref(attrs);
    g_object_unref(svc);
    return status;
}

bool LibsecretStore::remove(const QString& service, const QString& account) {
    Error error;
    const QByteArray s = service.toUtf8(), a = account.toUtf8();
    secret_password_clear_sync(schema(), nullptr, &error.e, "service", s.constData(), "account", a.constData(),
                               nullptr);
    return !error.failed("clear");
}

} // namespace os
