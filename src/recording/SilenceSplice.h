#pragma once

#include <QByteArray>
#include <QtGlobal>
#include <functional>
#include <limits>

struct AVPacket;

// Makes long silence cost next to nothing in an AAC track. After a few frames of zeros the encoder's packets
// stop changing; from then on whole silent frames are not encoded but written as copies of that settled
// packet. The encoder hands each packet out late, and its packet stamped with the last frame it was sent
// spans the next frame sent as well. So the copies go in after the packet before that one, and that one moves
// past the copies.
class SilenceSplice {
public:
    // Writes a packet with stamps in the encoder's time base; throws AudioError.
    using Write = std::function<void(AVPacket*)>;

    explicit SilenceSplice(int frameSize) : m_frameSize(frameSize) {}

    void frameSent(bool silent) { m_silentFramesSent = silent ? m_silentFramesSent + 1 : 0; }
    // Whole silent frames can be skipped now.
    bool settled() const { return m_silentFramesSent >= 3 && !m_silentPacket.isEmpty(); }
    // Takes the place of `frames` silent frames that follow the last frame sent, which was stamped
    // `lastSent`. `packet` is blank and serves to write the copies.
    void skip(qint64 lastSent, qint64 frames, AVPacket* packet, const Write& write);
    // Writes a packet the encoder handed out, and the copies due after it.
    void pass(AVPacket* packet, const Write& write);

private:
    void writeCopies(AVPacket* packet, const Write& write);

    int m_frameSize;
    int m_silentFramesSent = 0;
    QByteArray m_lastPacket;
    QByteArray m_silentPacket;
    // The encoder's packet stamped `m_movedPts` belongs `m_shift` samples later, after the copies.
    qint64 m_movedPts = 0;
    qint64 m_shift = 0;
    qint64 m_copiesDue = 0;
    qint64 m_nextCopyPts = 0;
    qint64 m_lastPassedPts = std::numeric_limits<qint64>::min();
};
