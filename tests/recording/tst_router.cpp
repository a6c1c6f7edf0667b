#include "recording/Router.h"

#include <QTest>

namespace {
RouteResult result(const QString& name, double score, const QStringList& reasons) {
    return {Workspace::make(name, QStringLiteral("https://x.example")), score, reasons};
}
} // namespace

Q_DECLARE_METATYPE(QList<RouteResult>)

class TestRouter : public QObject {
    Q_OBJECT
private slots:
    void suggest_data() {
        QTest::addColumn<QList<RouteResult>>("results");
        QTest::addColumn<bool>("isCall");
        QTest::addColumn<bool>("autoFile");
        QTest::addColumn<QString>("label");
        QTest::addColumn<bool>("isAuto");
        const auto people = result("Brevik", 0.93, {"\"Brevik\" on screen 4\u00d7", "with Ivo, Tess"});
        const auto low = result("Noctal", 0.2, {"with Mara"});
        QTest::newRow("screen words only")
            << QList<RouteResult>{result("Brevik", 0.77, {"\"Brevik\" on screen 4\u00d7"})} << true << true
            << "Personal \u00b7 no team signals on this call" << false;
        QTest::newRow("people, clear lead, auto-file on")
            << QList<RouteResult>{low, people} << true << true << "Brevik \u00b7 with Ivo, Tess" << true;
        QTest::newRow("auto-file off asks")
            << QList<RouteResult>{people, low} << true << false << "Brevik \u00b7 with Ivo, Tess" << false;
        QTest::newRow("a name in the title is not enough to file alone")
            << QList<RouteResult>{result("Brevik", 0.92, {"Ivo in the title"}), result("Noctal", 0.1, {})}
            << true << true << "Brevik \u00b7 Ivo in the title" << false;
        QTest::newRow("no clear lead")
            << QList<RouteResult>{result("Brevik", 0.7, {"with Ivo"}), result("Noctal", 0.6, {"with Mara"})}
            << true << true << "Personal \u00b7 not clearly one project" << false;
        QTest::newRow("a work session stays personal")
            << QList<RouteResult>{people} << false << true
            << "Personal \u00b7 a work session \u2014 only you see it" << false;
        QTest::newRow("nothing reachable") << QList<RouteResult>{} << true << true
                                           << "Personal \u00b7 no team signals on this call" << false;
        QTest::newRow("exactly 0.6 alone") << QList<RouteResult>{result("Brevik", 0.6, {"with Ivo"})} << true
                                           << true << "Brevik \u00b7 with Ivo" << false;
    }
    void suggest() {
        QFETCH(QList<RouteResult>, results);
        QFETCH(bool, isCall);
        QFETCH(bool, autoFile);
        QFETCH(QString, label);
        QFETCH(bool, isAuto);
        const Suggestion s = Router::suggest(results, isCall, autoFile);
        QCOMPARE(s.label(), label);
        QCOMPARE(s.isAuto, isAuto);
    }

    void routingText() {
        SessionMeta m;
        m.apps = QList<AppSpan>{{0, 1, "Code", QStringLiteral("main.cpp")},
                                {1, 2, "(private)", QStringLiteral("bank")},
                                {2, 3, "Code", QStringLiteral("main.cpp")},
                                {3, 4, "Zoom", std::nullopt}};
        m.pins = {{1, "same", "p/0", {}, {}}, {2, "same", "p/1", {}, {}}, {3, "", "p/2", {}, {}}};
        m.ocr = QList<OcrEntry>{{1, "Zoom", "Agenda"}};
        QCOMPARE(Router::text(m), QStringLiteral("Code: main.cpp\nZoom\nPin: same\nPin: same\nAgenda"));
        QCOMPARE(Router::text(SessionMeta{}), QString());
    }

    void routingTextIsCutByCharacters() {
        SessionMeta m;
        // Each "e" with a combining accent is one character of two code units.
        const QString accented = QStringLiteral("e\u0301");
        m.ocr = QList<OcrEntry>{{0, "A", accented.repeated(25000)}};
        QCOMPARE(Router::text(m), accented.repeated(20000));
    }
};

QTEST_GUILESS_MAIN(TestRouter)
#include "tst_router.moc"
