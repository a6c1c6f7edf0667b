// The end of the application: one answer for every way to quit.
#include "app/AppDelegate.h"

#include "core/Log.h"

#include <QCoreApplication>

void AppDelegate::requestQuit() {
    if (applicationShouldTerminate() == TerminateReply::Now) QCoreApplication::quit();
}

AppDelegate::TerminateReply AppDelegate::applicationShouldTerminate() {
    const TuneIn::State state = m_tuneIn.state();
    if (state == TuneIn::State::idle || state == TuneIn::State::starting) return TerminateReply::Now;
    // What is recorded is on disk already; waiting for the save keeps the wrap-up whole.
    m_quitAfterSave = true;
    slog(QStringLiteral("quit: waiting for the save in progress"));
    m_tuneIn.stopRecording();
    return TerminateReply::Later;
}

void AppDelegate::onSessionEnding(QSessionManager&) {
    // The desktop session is ending: the same answer as any quit. The log out is never held up; a save it
    // cuts leaves the session pending on disk.
    requestQuit();
}
