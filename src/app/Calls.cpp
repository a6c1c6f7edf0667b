// Noticing calls: the detector asks the recording flow what runs, and hands it what it notices.
#include "app/AppDelegate.h"

#include "app/Services.h"
#include "workday/CallDetector.h"

#include <QPointer>

void AppDelegate::wireCallDetector() {
    const QPointer<AppDelegate> self(this);
    m_detector->isRecording = [self] { return self && self->m_tuneIn.busy(); };
    m_detector->recordingUsesMic = [self] { return self && self->m_tuneIn.recordingUsesMic(); };
    m_detector->recordingFromCall = [self] { return self && self->m_tuneIn.recordingFromCall(); };
    m_detector->enabled = [self] { return self && self->m_services.settings->offerCalls(); };
    m_detector->onCallStart = [self](const CallHit& hit) {
        if (self) self->m_tuneIn.callDetected(hit);
    };
    m_detector->onCallEnded = [self] {
        if (self) self->m_tuneIn.callEnded();
    };
}
