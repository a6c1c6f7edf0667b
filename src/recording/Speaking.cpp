#include "recording/Speaking.h"

#include "core/Strings.h"

#include <algorithm>

namespace {
// The spans of one speaker, built window by window; windows apart by at most `mergeGap` join one span.
class SpanBuilder {
public:
    SpanBuilder(double window, double mergeGap) : m_window(window), m_mergeGap(mergeGap) {}

    void step(double t, bool loud) {
        const bool near = m_open && t - m_open->end <= m_mergeGap;
        if (loud) {
            if (near) {
                m_open->end = t + m_window;
                return;
            }
            close();
            m_open = Span{t, t + m_window};
        } else if (m_open && !near) {
            close();
        }
    }

    // Closes the open span; keeps those at least `minLen` long, with their ends on tenths of a second.
    QList<Span> finish(double minLen) {
        close();
        QList<Span> kept;
        for (const Span& span : m_spans)
            if (span.end - span.t >= minLen) kept.append(Span{round1(span.t), round1(span.end)});
        return kept;
    }

private:
    void close() {
        if (m_open) m_spans.append(*m_open);
        m_open.reset();
    }

    double m_window;
    double m_mergeGap;
    std::optional<Span> m_open;
    QList<Span> m_spans;
};

float level(const std::optional<LevelTrack>& track, double t) {
    return track ? track->value(t) : 0.0f;
}
} // namespace

Speaking::Spans Speaking::spans(const std::optional<LevelTrack>& mic, const std::optional<LevelTrack>& tab,
                                double window, double mergeGap, double minLen) {
    const double end = std::max({mic ? mic->end() : 0.0, tab ? tab->end() : 0.0, 0.0});
    SpanBuilder you(window, mergeGap);
    SpanBuilder other(window, mergeGap);
    for (qint64 i = 0; window > 0 && double(i) * window < end; ++i) {
        const double t = double(i) * window;
        const bool tabLoud = level(tab, t) > tabThreshold;
        // What the microphone hears while the other side is audible is the other side through the speakers.
        const bool micLoud = !tabLoud && level(mic, t) > micThreshold;
        other.step(t, tabLoud);
        you.step(t, micLoud);
    }
    return Spans{you.finish(minLen), other.finish(minLen)};
}
