#include "os/linux/X11PulseCapturePermission.h"

#include <QLoggingCategory>
#include <QProcess>
#include <QStandardPaths>
#include <QTimer>
#include <cstdlib>
#include <xcb/xcb.h>

Q_LOGGING_CATEGORY(lcPermission, "capture.permission")

namespace os {

X11PulseCapturePermission::X11PulseCapturePermission(QString display, QString currentDesktop)
    : m_display(std::move(display)), m_currentDesktop(std::move(currentDesktop)) {}

X11PulseCapturePermission::~X11PulseCapturePermission() {
    if (m_x) xcb_disconnect(m_x);
}

bool X11PulseCapturePermission::screenPreflight() {
    // A connection kept from an earlier check is tried first; one broken since (the server gone) is made
    // anew.
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (!m_x || xcb_connection_has_error(m_x)) {
            if (m_x) xcb_disconnect(m_x);
            const QByteArray name = m_display.toLocal8Bit();
            m_x = xcb_connect(name.isEmpty() ? nullptr : name.constData(), nullptr);
        }
        if (xcb_connection_has_error(m_x)) break;
        // One round trip: a server that has gone shows only when it is asked something.
        if (void* reply = xcb_get_input_focus_reply(m_x, xcb_get_input_focus(m_x), nullptr)) {
            std::free(reply);
            if (!m_screenWas) qCInfo(lcPermission) << "screen: the X display answers again";
            m_screenWas = true;
            return true;
        }
    }
    if (m_screenWas)
        qCWarning(lcPermission).noquote() << "screen: no X display answers"
                                          << (m_display.isEmpty() ? QStringLiteral("(DISPLAY)") : m_display);
    m_screenWas = false;
    return false;
}

std::optional<QString> X11PulseCapturePermission::noMicrophone() {
    PulseSources sources;
    if (!m_sound.ask([&sources](pa_context* c) { return sources.request(c); },
                     [&sources] { return sources.pending == 0; }) ||
        sources.failed)
        return QStringLiteral("no sound server answers within %1 ms").arg(m_sound.deadline().count());
    QStringList microphones, monitors;
    for (const PulseSources::Source& source : std::as_const(sources.list))
        (source.monitor ? monitors : microphones).append(source.name);
    if (microphones.isEmpty() && monitors.isEmpty()) return QStringLiteral("the sound server has no source");
    if (microphones.isEmpty())
        return QStringLiteral("the sound server has only monitors of outputs (%1)")
            .arg(monitors.join(QStringLiteral(", ")));
    if (!sources.defaultSource) return QStringLiteral("the sound server names no default source");
    // The recording takes the default source: a microphone that is not chosen records nothing.
    if (!microphones.contains(*sources.defaultSource))
        return QStringLiteral("the default source %1 is not a microphone; there are %2")
            .arg(*sources.defaultSource, microphones.join(QStringLiteral(", ")));
    return std::nullopt;
}

void X11PulseCapturePermission::note(const std::optional<QString>& why) {
    if (why == m_micWhy) return;
    if (why)
        qCWarning(lcPermission).noquote() << "microphone: none," << *why;
    else
        qCInfo(lcPermission) << "microphone: there is one again";
    m_micWhy = why;
}

CapturePermission::Mic X11PulseCapturePermission::micStatus() {
    const std::optional<QString> why = noMicrophone();
    note(why);
    return why ? Mic::none : Mic::allowed;
}

void X11PulseCapturePermission::requestMic(std::function<void(bool granted)> granted) {
    const bool allowed = micStatus() == Mic::allowed;
    QTimer::singleShot(0, &m_alive, [granted = std::move(granted), allowed] { granted(allowed); });
}

std::optional<SettingsCommand> X11PulseCapturePermission::settingsFor(Pane pane) const {
    if (pane == Pane::screen) return std::nullopt;
    return soundSettingsCommand(m_currentDesktop, [](const QString& program) {
        return !QStandardPaths::findExecutable(program).isEmpty();
    });
}

bool X11PulseCapturePermission::canOpenSettings(Pane pane) const {
    return settingsFor(pane).has_value();
}

void X11PulseCapturePermission::openSettings(Pane pane) {
    const std::optional<SettingsCommand> command = settingsFor(pane);
    const QString line =
        command ? (QStringList{command->program} + command->arguments).join(QLatin1Char(' ')) : QString();
    if (!command)
        qCWarning(lcPermission) << "settings: this desktop has no page for"
                                << (pane == Pane::screen ? "the screen" : "the microphone");
    else if (QProcess::startDetached(command->program, command->arguments))
        qCInfo(lcPermission).noquote() << "settings: opened" << line;
    else
        qCWarning(lcPermission).noquote() << "settings: could not start" << line;
}

} // namespace os
