#include "support/Rows.h"
#include "surfaces/HUDCorner.h"
#include "surfaces/HUDModel.h"

#include <QSignalSpy>
#include <QTest>

using testsupport::row;
using Track = HUDModel::Track;
Q_DECLARE_METATYPE(std::optional<QPoint>)

namespace {
const QDateTime t0 = QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC);

// "Label: text" for each row, newest first.
QStringList rowsOf(const HUDModel& model) {
    QStringList rows;
    for (const HUDModel::Row& r : model.feed())
        rows << FeedItem::label(r.kind) + QStringLiteral(": ") + r.text;
    return rows;
}

FeedItem::Kind kindLabelled(const QString& label) {
    using K = FeedItem::Kind;
    for (K k : {K::heard, K::nowIn, K::slide, K::pinned, K::noted, K::tip, K::card, K::info})
        if (FeedItem::label(k) == label) return k;
    qFatal("no kind is labelled %s", qPrintable(label));
}
} // namespace

// The recording panel's model, and where the panel stands.
class TestHUD : public QObject {
    Q_OBJECT

private slots:
    // Each add is "Label|text".
    void feedKeepsTheNewestDistinctRows_data() {
        QTest::addColumn<QStringList>("adds");
        QTest::addColumn<QStringList>("rows");
        QTest::addColumn<int>("added");
        row("eight distinct rows leave the newest six, newest first",
            QStringList{"Heard|1", "Now in|2", "New slide|3", "Pinned|4", "Noted|5", "Tip|6", "Card|7",
                        "Orvane|8"},
            QStringList{"Orvane: 8", "Card: 7", "Tip: 6", "Noted: 5", "Pinned: 4", "New slide: 3"}, 8);
        row("the same text of the same kind twice adds one row", QStringList{"Heard|hello", "Heard|hello"},
            QStringList{"Heard: hello"}, 1);
        row("the same text of another kind adds a second", QStringList{"Heard|hello", "Noted|hello"},
            QStringList{"Noted: hello", "Heard: hello"}, 2);
        row("the same text after another row adds it again",
            QStringList{"Heard|hello", "Now in|Figma", "Heard|hello"},
            QStringList{"Heard: hello", "Now in: Figma", "Heard: hello"}, 3);
        row("a text of spaces adds nothing", QStringList{"Heard|   ", "Tip|\t\n"}, QStringList{}, 0);
        row("texts are trimmed, so a padded repeat does not stack",
            QStringList{"Pinned| Figma ", "Pinned|Figma"}, QStringList{"Pinned: Figma"}, 1);
    }
    void feedKeepsTheNewestDistinctRows() {
        QFETCH(QStringList, adds);
        QFETCH(QStringList, rows);
        QFETCH(int, added);
        QDateTime now = t0;
        HUDModel model([&] { return now; });
        model.reset(t0, true);
        QSignalSpy pulses(&model, &HUDModel::rowAdded);
        for (const QString& add : adds) {
            now = now.addSecs(1);
            model.add(kindLabelled(add.section('|', 0, 0)), add.section('|', 1));
        }
        QCOMPARE(rowsOf(model), rows);
        // Each row that was added pulses the orb once; dropped calls do not.
        QCOMPARE(pulses.size(), added);
        for (qsizetype i = 1; i < model.feed().size(); ++i) {
            QVERIFY(model.feed()[i - 1].at >= model.feed()[i].at);
            QVERIFY(model.feed()[i - 1].id != model.feed()[i].id);
        }
    }

    // Each tick is the two tracks' health, as "system mic" with s = sound, q = silent, o = off.
    void oneRowPerSilentSpellAndPerReturn_data() {
        QTest::addColumn<bool>("micOk");
        QTest::addColumn<QStringList>("ticks");
        QTest::addColumn<QStringList>("rows");
        const QString otherSilent = QStringLiteral("Orvane: No sound from the other side for 60 s");
        const QString otherBack = QStringLiteral("Orvane: Sound from the other side again");
        const QString micSilent = QStringLiteral("Orvane: No sound from your mic for 60 s");
        const QString micBack = QStringLiteral("Orvane: Sound from your mic again");
        row("a long silence of the other side says so once", true, QStringList{"s s", "q s", "q s", "q s"},
            QStringList{otherSilent});
        row("the sound's return says so once", true, QStringList{"q s", "s s", "s s"},
            QStringList{otherBack, otherSilent});
        row("a second spell says so again", true, QStringList{"q s", "s s", "q s"},
            QStringList{otherSilent, otherBack, otherSilent});
        row("the mic's silence and return", true, QStringList{"s q", "s q", "s s"},
            QStringList{micBack, micSilent});
        row("both falling silent at once give a row each", true, QStringList{"q q"},
            QStringList{micSilent, otherSilent});
        row("a mic that does not record says nothing", false, QStringList{"s o", "s o"}, QStringList{});
        row("sound all along says nothing", true, QStringList{"s s", "s s"}, QStringList{});
    }
    void oneRowPerSilentSpellAndPerReturn() {
        QFETCH(bool, micOk);
        QFETCH(QStringList, ticks);
        QFETCH(QStringList, rows);
        HUDModel model([] { return t0; });
        model.reset(t0, micOk);
        const auto track = [](QChar c) {
            return c == 'q' ? Track::silent : c == 'o' ? Track::off : Track::sound;
        };
        for (const QString& tick : ticks) {
            model.setTracks(track(tick[0]), track(tick[2]));
            QCOMPARE(model.anySilent(), tick.contains('q'));
        }
        QCOMPARE(rowsOf(model), rows);
    }

    void aNewRecordingStartsClean() {
        HUDModel model([] { return t0; });
        model.reset(t0, true);
        model.add(FeedItem::Kind::heard, QStringLiteral("hello"));
        model.setTracks(Track::silent, Track::silent);
        model.setHearing(true);
        model.setListening(true);
        model.reset(t0.addSecs(3600), false);
        QVERIFY(model.feed().isEmpty());
        QCOMPARE(model.started(), t0.addSecs(3600));
        QCOMPARE(model.system(), Track::sound);
        QCOMPARE(model.mic(), Track::off);
        QVERIFY(!model.hearing() && !model.listening() && !model.anySilent());
    }

    void modesAreKnownByTheirNamesOnly_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("known");
        row("pill", QStringLiteral("pill"), true);
        row("card", QStringLiteral("card"), true);
        row("dot", QStringLiteral("dot"), true);
        row("another case is another name", QStringLiteral("Card"), false);
        row("an empty value", QString(), false);
        row("an unknown mode", QStringLiteral("bubble"), false);
    }
    void modesAreKnownByTheirNamesOnly() {
        QFETCH(QString, name);
        QFETCH(bool, known);
        const std::optional<HUDModel::Mode> mode = HUDModel::modeNamed(name);
        QCOMPARE(mode.has_value(), known);
        if (mode) QCOMPARE(HUDModel::modeName(*mode), name);
    }

    void cornerIsReadBackOnlyFromItsOwnForm_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<std::optional<QPoint>>("corner");
        row("as written", HUDCorner::text(QPoint(1800, 40)), std::optional<QPoint>(QPoint(1800, 40)));
        row("fractions and spaces", QStringLiteral(" {1799.6 ,40.2} "),
            std::optional<QPoint>(QPoint(1800, 40)));
        row("left of the primary screen", QStringLiteral("{-300, 12}"),
            std::optional<QPoint>(QPoint(-300, 12)));
        row("without braces", QStringLiteral("1800, 40"), std::optional<QPoint>());
        row("one number", QStringLiteral("{1800}"), std::optional<QPoint>());
        row("words", QStringLiteral("{right, top}"), std::optional<QPoint>());
        row("nothing stored", QString(), std::optional<QPoint>());
    }
    void cornerIsReadBackOnlyFromItsOwnForm() {
        QFETCH(QString, text);
        QFETCH(std::optional<QPoint>, corner);
        QCOMPARE(HUDCorner::parse(text), corner);
    }

    void aCornerOnNoScreenGivesTheDefault_data() {
        QTest::addColumn<std::optional<QPoint>>("stored");
        QTest::addColumn<QPoint>("wanted");
        const QPoint byDefault(1911, 36); // near the top right of the primary screen's available area
        row("on the primary screen", std::optional<QPoint>(QPoint(900, 500)), QPoint(900, 500));
        row("on the second screen", std::optional<QPoint>(QPoint(2500, 100)), QPoint(2500, 100));
        row("where a third screen was unplugged", std::optional<QPoint>(QPoint(4000, 100)), byDefault);
        row("above every screen", std::optional<QPoint>(QPoint(100, -20)), byDefault);
        row("nothing stored", std::optional<QPoint>(), byDefault);
    }
    void aCornerOnNoScreenGivesTheDefault() {
        QFETCH(std::optional<QPoint>, stored);
        QFETCH(QPoint, wanted);
        const QList<QRect> screens{QRect(0, 0, 1920, 1080), QRect(1920, 0, 1280, 1024)};
        QCOMPARE(HUDCorner::wanted(stored, screens, QRect(0, 28, 1920, 1052)), wanted);
    }
};

QTEST_GUILESS_MAIN(TestHUD)
#include "tst_hud.moc"
