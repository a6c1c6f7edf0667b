#include "recording/Speaking.h"

#include <QTest>

Q_DECLARE_METATYPE(std::optional<LevelTrack>)

namespace {
// A level track from `offset` for `length` seconds, loud in the windows that begin within one of `sound`.
LevelTrack track(double offset, double length, const QList<Span>& sound, double window = 0.25) {
    LevelTrack levels{offset, {}, window};
    for (int i = 0; i < int(std::lround(length / window)); ++i) {
        const double t = offset + i * window;
        const bool on = std::any_of(sound.begin(), sound.end(),
                                    [&](const Span& s) { return t >= s.t - 1e-9 && t < s.end - 1e-9; });
        levels.rms.append(on ? 0.1f : 0.001f);
    }
    return levels;
}

std::optional<LevelTrack> none() {
    return std::nullopt;
}

// The other side speaking from 0.3 to 2.3 s and from 3.8 to 6.3 s, measured in windows of 0.1 s.
LevelTrack otherSide() {
    return track(0, 7, {{0.3, 2.3}, {3.8, 6.3}}, 0.1);
}
} // namespace

class TestSpeaking : public QObject {
    Q_OBJECT

private slots:
    void spans_data() {
        QTest::addColumn<std::optional<LevelTrack>>("mic");
        QTest::addColumn<std::optional<LevelTrack>>("tab");
        QTest::addColumn<double>("window");
        QTest::addColumn<QList<Span>>("you");
        QTest::addColumn<QList<Span>>("other");

        const QList<Span> otherSpans{{0.3, 2.3}, {3.8, 6.3}};
        QTest::newRow("the other side's two stretches of speech")
            << none() << std::optional(otherSide()) << 0.1 << QList<Span>() << otherSpans;
        // The microphone talks while the other side does (dropped: that is the other side through the
        // speakers) and in its pause, with a short gap that merges.
        QTest::newRow("the user in the other side's pause")
            << std::optional(track(0, 7, {{1.0, 1.6}, {2.5, 3.0}, {3.3, 3.7}, {4.5, 5.0}}, 0.1))
            << std::optional(otherSide()) << 0.1 << QList<Span>{{2.5, 3.7}} << otherSpans;

        QTest::newRow("a silence of 0.75 s merges")
            << std::optional(track(0, 4, {{0.5, 1.5}, {2.25, 3.0}})) << none() << 0.25
            << QList<Span>{{0.5, 3.0}} << QList<Span>();
        QTest::newRow("a silence of 1.0 s splits")
            << std::optional(track(0, 4, {{0.5, 1.5}, {2.5, 3.5}})) << none() << 0.25
            << QList<Span>{{0.5, 1.5}, {2.5, 3.5}} << QList<Span>();
        // Steps fall on multiples of the window: the first loud step is 0.75 s, which rounds to 0.8.
        QTest::newRow("span ends fall on tenths") << std::optional(track(0.13, 3, {{0.63, 1.38}})) << none()
                                                  << 0.25 << QList<Span>{{0.8, 1.5}} << QList<Span>();
        QTest::newRow("a lone window is dropped")
            << std::optional(track(0, 3, {{1.0, 1.25}})) << none() << 0.25 << QList<Span>() << QList<Span>();
        QTest::newRow("two windows are kept") << std::optional(track(0, 3, {{1.0, 1.5}})) << none() << 0.25
                                              << QList<Span>{{1.0, 1.5}} << QList<Span>();
        QTest::newRow("both tracks missing") << none() << none() << 0.25 << QList<Span>() << QList<Span>();
        QTest::newRow("nothing before the track's offset")
            << none() << std::optional(track(1.0, 2, {{0.0, 3.0}})) << 0.25 << QList<Span>()
            << QList<Span>{{1.0, 3.0}};
        // A level that counts as the other side speaking is only the room for the microphone.
        LevelTrack room = track(0, 2, {});
        room.rms.fill(0.01f);
        QTest::newRow("the room is not the user")
            << std::optional(room) << none() << 0.25 << QList<Span>() << QList<Span>();
        QTest::newRow("the other side at the same level is")
            << none() << std::optional(room) << 0.25 << QList<Span>() << QList<Span>{{0.0, 2.0}};
    }

    void spans() {
        QFETCH(std::optional<LevelTrack>, mic);
        QFETCH(std::optional<LevelTrack>, tab);
        QFETCH(double, window);
        QFETCH(QList<Span>, you);
        QFETCH(QList<Span>, other);

        const Speaking::Spans spans = Speaking::spans(mic, tab, window);
        QCOMPARE(spans.mic, you);
        QCOMPARE(spans.tab, other);
    }
};

QTEST_APPLESS_MAIN(TestSpeaking)
#include "tst_speaking.moc"
