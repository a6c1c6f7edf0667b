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
        if (!jpeg) return self->done();
        // The moment is the one of the region, not of the note that follows.
        const Capture* capture = self->m_needs.tuneIn.capture();
        const double t = capture ? capture->elapsed() : 0;
        self->m_needs.askNote(QImage::fromData(*jpeg), capture != nullptr,
                              [self, jpeg = *jpeg, t](std::optional<QString> note) {
                                  if (!self) return;
                                  if (note) self->pinned(jpeg, t, *note);
                                  self->done();
                              });
    });
}

void Pinning::pinned(const QByteArray& jpeg, double t, const QString& note) {
    // The recording may have ended while the note was being written: then the pin waits for the next one.
    if (Capture* capture = m_needs.tuneIn.capture()) {
        capture->addPin(jpeg, note, t, false);
        m_needs.hud.model().add(FeedItem::Kind::pinned,
                                note.isEmpty() ? QStringLiteral("a region of the screen") : note);
        slog(QStringLiteral("pin added (recording): ") + note);
    } else {
        m_needs.queue.add(jpeg, note);
        slog(QStringLiteral("pin added (queue): ") + note);
    }
}

void Pinning::done() {
    m_pinning = false;
    emit changed();
}
