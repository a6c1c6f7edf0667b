// Noticing calls: the detector's wiring. The offer to record comes with the recorder; until then a call is
// logged.
#include "app/AppDelegate.h"

#include "app/Services.h"
#include "core/Log.h"
#include "workday/CallApps.h"
#include "workday/CallDetector.h"
#include "workday/MicUsage.h"

#include <QCoreApplication>
#include <QPointer>

void AppDelegate::startCallDetector() {
    const qint32 ownPid = qint32(QCoreApplication::applicationPid());
    // Our own application id is worked out when the microphone is first asked about, not at launch.
    m_mic = std::make_unique<MicUsage>(
        *m_services.audio, ownPid,
        [identities = m_services.identities.get(), ownPid] { return identities->identify(ownPid, {}).id; });
    m_detector = std::make_unique<CallDetector>(*m_mic, *m_windows);
    const QPointer<AppDelegate> self(this);
    // Nothing records yet, apart from the save of a recovered session.
    m_detector->isRecording = [self] { return self && self->saving(); };
    m_detector->enabled = [self] { return self && self->m_services.settings->offerCalls(); };
    m_detector->onCallStart = [self](const CallHit& hit) {
        if (self) self->callDetected(hit);
    };
    m_detector->start();
}

void AppDelegate::callDetected(const CallHit& hit) {
    slog(QStringLiteral("call offer not shown yet: a recording would be titled \u201c%1\u201d")
             .arg(CallApps::recordingTitle(hit.app, hit.title)));
}
