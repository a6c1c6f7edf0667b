#include "app/Pinning.h"

#include "app/TuneIn.h"
#include "core/Log.h"
#include "surfaces/HUD.h"
#include "surfaces/Nudges.h"
#include "voice/PinQueue.h"

#include <QPointer>

Pinning::Pinning(Needs needs, QObject* parent) : QObject(parent), m_needs(std::move(needs)) {}

void Pinning::addPin() {
    if (m_pinning) return;
    m_pinning = true;
    m_needs.nudges.dismiss(QStringLiteral("tip"));
    emit changed();
    const QPointer<Pinning> self(this);
    m_needs.selectRegion([self](std::optional<QByteArray> jpeg) {
        if (!self) return;
        if (jpeg) self->pinned(*jpeg);
        self->done();
    });
}

void Pinning::pinned(const QByteArray& jpeg) {
    // The moment is the one of the region, not of the note that follows.
    Capture* capture = m_needs.tuneIn.capture();
    const double t = capture ? capture->elapsed() : 0;
    const std::optional<QString> note = m_needs.askNote(QImage::fromData(jpeg), capture != nullptr);
    if (!note) return;
    // The recording may have ended while the note was being written: then the pin waits for the next one.
    capture = m_needs.tuneIn.capture();
    if (capture) {
        capture->addPin(jpeg, *note, t);
        m_needs.hud.model().add(FeedItem::Kind::pinned,
                                note->isEmpty() ? QStringLiteral("a region of the screen") : *note);
        slog(QStringLiteral("pin added (recording): ") + *note);
    } else {
        m_needs.queue.add(jpeg, *note);
        slog(QStringLiteral("pin added (queue): ") + *note);
    }
}

void Pinning::done() {
    m_pinning = false;
    emit changed();
}
