#include "surfaces/StatusItem.h"

#include "core/Fmt.h"
#include "core/Log.h"
#include "surfaces/StatusIcon.h"
#include "surfaces/design/Pal.h"

#include <QCursor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QSystemTrayIcon>

namespace {
const QString watcherService = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString watcherPath = QStringLiteral("/StatusNotifierWatcher");

// Whether a panel shows StatusNotifierItems now: the watcher runs and a host has registered with it. Qt asks
// the same when it makes its first tray icon, and keeps the answer.
bool statusNotifierHostRuns() {
    QDBusMessage get = QDBusMessage::createMethodCall(watcherService, watcherPath,
                                                      QStringLiteral("org.freedesktop.DBus.Properties"),
                                                      QStringLiteral("Get"));
    get << watcherService << QStringLiteral("IsStatusNotifierHostRegistered");
    const QDBusMessage reply = QDBusConnection::sessionBus().call(get, QDBus::Block, 2000);
    return reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty() &&
           reply.arguments().constFirst().value<QDBusVariant>().variant().toBool();
}
} // namespace

StatusItem::StatusItem(Needs needs, QObject* parent)
    : QObject(parent), m_needs(std::move(needs)),
      m_watcher(new QDBusServiceWatcher(watcherService, QDBusConnection::sessionBus(),
                                        QDBusServiceWatcher::WatchForOwnerChange, this)) {
    drawIcons();
    qApp->installEventFilter(this);
    m_blink.setInterval(blinkInterval);
    connect(&m_blink, &QTimer::timeout, this,
            [this] { showMark(m_mark == recordingDot ? recording : recordingDot); });
    connect(
        m_watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
        [this](const QString&, const QString&, const QString& newOwner) { watcherOwnerChanged(newOwner); });
    // A watcher may come up before the panel that hosts its items.
    QDBusConnection::sessionBus().connect(watcherService, watcherPath, watcherService,
                                          QStringLiteral("StatusNotifierHostRegistered"), this,
                                          SLOT(statusNotifierHostRegistered()));
    // Qt picks the kind of tray once, at its first icon: made with no host, it would never reach a panel that
    // starts after us (Orvane starting at login before the desktop's panel), so without a host we wait for
    // one.
    if (statusNotifierHostRuns() || (m_needs.xembedTrayRuns && m_needs.xembedTrayRuns()))
        makeTray();
    else
        slog(QStringLiteral("no system tray on this desktop; the icon shows when a tray starts"));
    m_hostAvailable = m_tray != nullptr;
}

StatusItem::~StatusItem() = default;

QString StatusItem::toolTip(const Look& look) {
    switch (look.phase) {
    case Phase::recording:
        return Fmt::clock(look.elapsed) +
               QStringLiteral(
                   " \u00b7 Orvane active \u2014 recording screen & audio \u00b7 Ctrl+Alt+R to wrap up");
    case Phase::busy:
        return QStringLiteral("Orvane \u2026");
    case Phase::idle:
        break;
    }
    return look.upload.isEmpty() ? QStringLiteral("Orvane") : QStringLiteral("Orvane\n") + look.upload;
}

// Every change goes over D-Bus to the panel: the tooltip once a second and the mark every half second at
// most, and nothing that did not change.
void StatusItem::update(const Look& look) {
    const QString tip = toolTip(look);
    if (tip != m_toolTip) {
        m_toolTip = tip;
        if (m_tray) m_tray->setToolTip(tip);
    }
    if (look.phase != Phase::recording) {
        m_blink.stop();
        showMark(idle);
    } else if (!m_blink.isActive()) {
        showMark(recording);
        m_blink.start();
    }
}

// The sizes panels ask for, 16 to 32 px, and 48 for the doubled 22 and 24 px panels of a scaled screen (a
// panel scales the nearest down); drawn once per scheme. Each blink sends every size to the panel, so the set
// stays small: the doubles of all four cost twice the bytes of the five kept.
void StatusItem::drawIcons() {
    m_darkScheme = colorSchemeOf(QGuiApplication::palette()) == ColorScheme::dark;
    const std::pair<bool, bool> marks[] = {{false, false}, {true, false}, {true, true}};
    for (int mark = idle; mark <= recordingDot; ++mark) {
        QIcon icon;
        for (const int px : {16, 22, 24, 32, 48})
            icon.addPixmap(QPixmap::fromImage(
                StatusIcon::slash(px, marks[mark].first, marks[mark].second, m_darkScheme)));
        m_icons[size_t(mark)] = icon;
    }
}

void StatusItem::makeTray() {
    m_viaStatusNotifier = statusNotifierHostRuns();
    m_tray = std::make_unique<QSystemTrayIcon>(m_icons[size_t(m_mark)]);
    m_tray->setToolTip(m_toolTip);
    // No menu: every kind of click is the panel's to answer.
    // Whether the rectangle can be trusted is the panel placement's to judge.
    connect(m_tray.get(), &QSystemTrayIcon::activated, this, [this] {
        const QRect icon = m_tray->geometry();
        emit activated({icon.isEmpty() ? std::nullopt : std::optional(icon), QCursor::pos()});
    });
    m_tray->show();
    slog(m_viaStatusNotifier ? QStringLiteral("tray icon shown through the StatusNotifier host")
                             : QStringLiteral("tray icon shown in the XEmbed tray"));
}

void StatusItem::showMark(Mark mark) {
    if (mark == m_mark) return;
    m_mark = mark;
    if (m_tray) m_tray->setIcon(m_icons[size_t(mark)]);
}

// A panel that restarts takes the name again; Qt gives its icon to the new watcher by itself.
void StatusItem::watcherOwnerChanged(const QString& newOwner) {
    if (newOwner.isEmpty()) {
        if (m_viaStatusNotifier) setHostAvailable(false);
        return;
    }
    statusNotifierHostRegistered();
}

void StatusItem::statusNotifierHostRegistered() {
    if (m_tray && !m_viaStatusNotifier) return; // shown in the XEmbed tray for good
    if (!statusNotifierHostRuns()) return;
    if (!m_tray) makeTray();
    setHostAvailable(true);
}

void StatusItem::setHostAvailable(bool available) {
    if (available == m_hostAvailable) return;
    m_hostAvailable = available;
    slog(available ? QStringLiteral("tray host available") : QStringLiteral("tray host gone"));
    emit hostChanged(available);
}

bool StatusItem::eventFilter(QObject* watched, QEvent* event) {
    if (watched == qApp && event->type() == QEvent::ApplicationPaletteChange &&
        (colorSchemeOf(QGuiApplication::palette()) == ColorScheme::dark) != m_darkScheme) {
        drawIcons();
        if (m_tray) m_tray->setIcon(m_icons[size_t(m_mark)]);
    }
    return QObject::eventFilter(watched, event);
}
