#include "recording/SilenceSplice.h"

#include "recording/AudioError.h"

#include <algorithm>

extern "C" {
#include <libavcodec/packet.h>
}

void SilenceSplice::skip(qint64 lastSent, qint64 frames, AVPacket* packet, const Write& write) {
    if (m_shift == 0) {
        m_movedPts = lastSent;
        m_nextCopyPts = lastSent;
    }
    m_shift += frames * m_frameSize;
    m_copiesDue += frames;
    if (m_lastPassedPts == m_movedPts - m_frameSize) writeCopies(packet, write);
}

void SilenceSplice::pass(AVPacket* packet, const Write& write) {
    const QByteArray bytes(reinterpret_cast<const char*>(packet->data), packet->size);
    // Deep in a run of silent frames, a packet like the one before it is the settled packet of silence.
    if (m_silentFramesSent >= 3 && bytes == m_lastPacket) m_silentPacket = bytes;
    m_lastPacket = bytes;
    const qint64 pts = packet->pts;
    if (m_shift > 0 && pts == m_movedPts) {
        packet->pts += m_shift;
        packet->dts += m_shift;
        m_shift = 0;
    }
    write(packet);
    m_lastPassedPts = pts;
    if (m_copiesDue > 0 && pts == m_movedPts - m_frameSize) writeCopies(packet, write);
}

void SilenceSplice::writeCopies(AVPacket* packet, const Write& write) {
    for (; m_copiesDue > 0; --m_copiesDue) {
        if (av_new_packet(packet, int(m_silentPacket.size())) < 0)
            throw AudioError(AudioError::Kind::Format, QStringLiteral("alloc"));
        std::copy_n(m_silentPacket.constData(), m_silentPacket.size(), packet->data);
        packet->pts = packet->dts = m_nextCopyPts;
        packet->duration = m_frameSize;
        packet->flags = AV_PKT_FLAG_KEY;
        m_nextCopyPts += m_frameSize;
        write(packet);
    }
}
