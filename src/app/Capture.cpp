#include "app/Capture.h"

#include <limits>

#include "core/SerialQueue.h"

RecorderCapture::RecorderCapture(std::shared_ptr<Session> session, Recorder::Sources sources)
    : m_recorder(std::make_shared<Recorder>(std::move(session), std::move(sources))) {
    // The main-thread callbacks may arrive queued, after this capture is gone: they look first.
    const std::weak_ptr<bool> alive = m_alive;
    m_recorder->onStreamError = [this, alive](const QString& text) {
        if (alive.lock() && onStreamError) onStreamError(text);
    };
    m_recorder->onEvent = [this, alive](FeedItem::Kind kind, const QString& text) {
        if (alive.lock() && onEvent) onEvent(kind, text);
    };
    // The capture's thread; the recorder ends its capture before this object's callbacks go.
    m_recorder->onMicLevel = [this](float rms) {
        if (onMicLevel) onMicLevel(rms);
    };
    m_recorder->onMicBuffer = [this](const AudioBuffer& buffer) {
        if (onMicBuffer) onMicBuffer(buffer);
    };
}

// A capture dropped while it saves lets the save finish first: the queue runs what it holds before it ends.
RecorderCapture::~RecorderCapture() = default;

void RecorderCapture::start(bool withMic, std::function<void(std::optional<QString>)> done) {
    std::optional<QString> error;
    try {
        m_recorder->start(withMic);
    } catch (const std::exception& e) { // AudioError without a display, the backends' errors alike
        error = QString::fromUtf8(e.what());
    }
    Recorder::onMain([done = std::move(done), error] { done(error); });
}

void RecorderCapture::stop(std::function<void(std::shared_ptr<Session>)> done) {
    if (!m_saver) m_saver = std::make_unique<SerialQueue>(QStringLiteral("orvane.save"));
    m_saver->async([recorder = m_recorder, done = std::move(done)] {
        std::shared_ptr<Session> session = recorder->stop();
        Recorder::onMain([done, session] { done(session); });
    });
}

Capture::Counts RecorderCapture::counts() const {
    // The record changes on the capture queue: a snapshot reads it there, without the text read so far.
    const Recorder::LiveSnapshot now = m_recorder->liveSnapshot(std::numeric_limits<qsizetype>::max());
    return {now.meta.shots.size(), now.meta.pins.size()};
}

bool RecorderCapture::isCall() const {
    return m_recorder->session()->meta.isCall();
}
