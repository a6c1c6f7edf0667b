#include "os/linux/SwayWindowSystem.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <algorithm>
#include <cstring>

Q_LOGGING_CATEGORY(lcSway, "windows.sway")

namespace os {

namespace {

constexpr QByteArrayView magic("i3-ipc");
constexpr quint32 getTree = 4;
constexpr qsizetype headerSize = 6 + 2 * sizeof(quint32);

bool isView(const QJsonObject& node) {
    return node.value(QLatin1String("pid")).toInt() > 0;
}

// The views under `node`, those that had the focus last first; sway lists children in layout order and keeps
// the focus order apart, as ids.
void collect(const QJsonObject& node, QList<QJsonObject>& views) {
    // The scratchpad holds what the user put away, the counterpart of minimised windows.
    if (node.value(QLatin1String("name")).toString() == QLatin1String("__i3_scratch")) return;
    if (isView(node)) {
        views.append(node);
        return;
    }
    QList<QJsonObject> children;
    for (const char* key : {"nodes", "floating_nodes"})
        for (const QJsonValue& child : node.value(QLatin1String(key)).toArray())
            children.append(child.toObject());
    QHash<qint64, qsizetype> focusRank;
    const QJsonArray focus = node.value(QLatin1String("focus")).toArray();
    for (qsizetype i = 0; i < focus.size(); ++i)
        focusRank.insert(focus.at(i).toInteger(), i);
    const auto rank = [&focusRank](const QJsonObject& child) {
        return focusRank.value(child.value(QLatin1String("id")).toInteger(), focusRank.size());
    };
    std::stable_sort(children.begin(), children.end(),
                     [&rank](const QJsonObject& a, const QJsonObject& b) { return rank(a) < rank(b); });
    for (const QJsonObject& child : children)
        collect(child, views);
}

std::optional<QJsonObject> focused(const QJsonObject& node) {
    if (node.value(QLatin1String("focused")).toBool()) return node;
    for (const char* key : {"nodes", "floating_nodes"})
        for (const QJsonValue& child : node.value(QLatin1String(key)).toArray())
            if (std::optional<QJsonObject> found = focused(child.toObject())) return found;
    return std::nullopt;
}

} // namespace

SwayWindowSystem::SwayWindowSystem(AppIdentities& identities, QString socket)
    : m_identities(identities), m_socketPath(std::move(socket)) {}

std::optional<QJsonObject> SwayWindowSystem::tree() {
    const auto fail = [this](const QString& why) -> std::optional<QJsonObject> {
        if (!m_saidFailure)
            qCWarning(lcSway).noquote() << "sway's IPC at" << m_socketPath << "failed:" << why;
        m_saidFailure = true;
        m_socket.abort();
        return std::nullopt;
    };
    if (m_socket.state() != QLocalSocket::ConnectedState) {
        m_socket.connectToServer(m_socketPath);
        if (!m_socket.waitForConnected(timeoutMs)) return fail(m_socket.errorString());
    }
    QByteArray request(magic.data(), magic.size());
    const quint32 header[] = {0, getTree};
    request.append(reinterpret_cast<const char*>(header), sizeof(header));
    m_socket.write(request);
    m_socket.flush();
    QByteArray reply;
    while (true) {
        reply += m_socket.readAll();
        if (reply.size() >= headerSize) {
            quint32 length = 0;
            std::memcpy(&length, reply.constData() + magic.size(), sizeof(length));
            if (!reply.startsWith(magic)) return fail(QStringLiteral("an answer that is not sway's"));
            if (reply.size() >= headerSize + qsizetype(length)) {
                reply = reply.mid(headerSize, length);
                break;
            }
        }
        if (!m_socket.waitForReadyRead(timeoutMs)) return fail(m_socket.errorString());
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(reply, &error);
    if (!document.isObject()) return fail(QStringLiteral("a tree that is not JSON: ") + error.errorString());
    m_saidFailure = false;
    return document.object();
}

Window SwayWindowSystem::describe(const QJsonObject& view) {
    const qint32 pid = view.value(QLatin1String("pid")).toInt();
    QString appId = view.value(QLatin1String("app_id")).toString();
    if (appId.isEmpty())
        appId = view.value(QLatin1String("window_properties"))
                    .toObject()
                    .value(QLatin1String("class"))
                    .toString();
    const AppIdentity app = m_identities.identify(pid, appId);
    return {pid, app.name, view.value(QLatin1String("name")).toString(), app.id};
}

QList<Window> SwayWindowSystem::windows() {
    const std::optional<QJsonObject> root = tree();
    if (!root) return {};
    QList<QJsonObject> views;
    collect(*root, views);
    QList<Window> out;
    for (const QJsonObject& view : views)
        out.append(describe(view));
    return out;
}

std::optional<Window> SwayWindowSystem::activeWindow() {
    const std::optional<QJsonObject> root = tree();
    if (!root) return std::nullopt;
    // A workspace without windows may have the focus.
    const std::optional<QJsonObject> node = focused(*root);
    if (!node || !isView(*node)) return std::nullopt;
    return describe(*node);
}

} // namespace os
