#include "os/linux/KWinWindowSystem.h"

#include <QDBusMessage>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcKWin, "windows.kwin")

namespace os {

namespace {

const QString kwin = QStringLiteral("org.kde.KWin");
const QString plugin = QStringLiteral("orvane-active-window");
const QString ownPath = QStringLiteral("/org/orvane/KWinActiveWindow");

} // namespace

KWinWindowSystem::KWinWindowSystem(AppIdentities& identities, QDBusConnection bus)
    : m_identities(identities), m_bus(std::move(bus)) {}

KWinWindowSystem::~KWinWindowSystem() {
    if (!m_scriptRuns.value_or(false)) return;
    // Nothing waits for the answer: the script goes with or without us.
    m_bus.send(QDBusMessage::createMethodCall(kwin, QStringLiteral("/Scripting"),
                                              QStringLiteral("org.kde.kwin.Scripting"),
                                              QStringLiteral("unloadScript"))
               << plugin);
    m_bus.unregisterObject(ownPath);
}

QString KWinWindowSystem::scriptText() const {
    // KWin 6 calls them windows, KWin 5 clients; KWin 5 hands the class as a byte array, hence the
    // strings.
    return QStringLiteral(R"(
function text(value) { return value === undefined || value === null ? "" : String(value); }
function report(w) {
    callDBus("%1", "%2", "org.orvane.KWinActiveWindow", "Activated",
             w ? text(w.pid) : "", w ? text(w.resourceClass) : "", w ? text(w.caption) : "",
             w ? text(w.desktopFileName) : "");
}
let shown = null;
function captionChanged() { report(shown); }
function activated(w) {
    if (shown) shown.captionChanged.disconnect(captionChanged);
    shown = w;
    if (shown) shown.captionChanged.connect(captionChanged);
    report(shown);
}
if (workspace.windowActivated) {
    workspace.windowActivated.connect(activated);
    activated(workspace.activeWindow);
} else {
    workspace.clientActivated.connect(activated);
    activated(workspace.activeClient);
}
)")
        .arg(m_bus.baseService(), ownPath);
}

void KWinWindowSystem::loadScript() {
    const auto scripting = [this](const QString& method, const QVariantList& arguments) {
        QDBusMessage call = QDBusMessage::createMethodCall(kwin, QStringLiteral("/Scripting"),
                                                           QStringLiteral("org.kde.kwin.Scripting"), method);
        call.setArguments(arguments);
        return m_bus.call(call, QDBus::Block, timeoutMs);
    };
    const auto fail = [this](const QString& why) {
        qCWarning(lcKWin).noquote() << "KWin tells Orvane no active window:" << why;
        m_scriptRuns = false;
    };
    if (!m_bus.registerObject(ownPath, this, QDBusConnection::ExportScriptableSlots))
        return fail(QStringLiteral("the session bus refused our object"));
    if (!m_script.open() || m_script.write(scriptText().toUtf8()) < 0 || !m_script.flush())
        return fail(QStringLiteral("the script could not be written: ") + m_script.errorString());
    // A copy that an earlier run left behind keeps the name taken.
    scripting(QStringLiteral("unloadScript"), {plugin});
    const QDBusMessage loaded = scripting(QStringLiteral("loadScript"), {m_script.fileName(), plugin});
    const int id = loaded.arguments().value(0, -1).toInt();
    if (loaded.type() != QDBusMessage::ReplyMessage || id < 0)
        return fail(loaded.type() == QDBusMessage::ErrorMessage
                        ? loaded.errorMessage()
                        : QStringLiteral("loadScript gave no script"));
    // KWin 6 puts the script under /Scripting, KWin 5 at the root.
    QString error;
    for (const QString& path :
         {QStringLiteral("/Scripting/Script%1").arg(id), QStringLiteral("/%1").arg(id)}) {
        const QDBusMessage ran =
            m_bus.call(QDBusMessage::createMethodCall(kwin, path, QStringLiteral("org.kde.kwin.Script"),
                                                      QStringLiteral("run")),
                       QDBus::Block, timeoutMs);
        if (ran.type() == QDBusMessage::ReplyMessage) {
            m_scriptRuns = true;
            return;
        }
        error = ran.errorMessage();
    }
    fail(QStringLiteral("the script did not run: ") + error);
}

void KWinWindowSystem::Activated(const QString& pid, const QString& resourceClass, const QString& caption,
                                 const QString& desktopFileName) {
    const qint32 process = pid.toInt();
    if (process <= 0) {
        m_active.reset();
        return;
    }
    // Wayland programs name their desktop file; X ones have only their class.
    const AppIdentity app =
        m_identities.identify(process, desktopFileName.isEmpty() ? resourceClass : desktopFileName);
    m_active = Window{process, app.name, caption, app.id};
}

std::optional<Window> KWinWindowSystem::activeWindow() {
    if (!m_scriptRuns) loadScript();
    return m_active;
}

QList<Window> KWinWindowSystem::windows() {
    const std::optional<Window> active = activeWindow();
    return active ? QList<Window>{*active} : QList<Window>{};
}

} // namespace os
