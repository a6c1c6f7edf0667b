#include "app/Reviews.h"

#include <QJsonDocument>
#include <QTest>

using Open = QList<Reviews::OpenSuggestion>;
Q_DECLARE_METATYPE(Open)

// Which suggestions of a review are still open, each to become a question.
class TestReviewSuggestions : public QObject {
    Q_OBJECT
private slots:
    void openSuggestions_data() {
        QTest::addColumn<QByteArray>("review");
        QTest::addColumn<Open>("open");
        QTest::newRow("no suggestions key") << QByteArray(R"({"notes":"x"})") << Open{};
        QTest::newRow("suggestions not a list") << QByteArray(R"({"suggestions":{"i":"1"}})") << Open{};
        QTest::newRow("a review that isn't an object") << QByteArray(R"(["a"])") << Open{};
        QTest::newRow("accepted and dismissed are done")
            << QByteArray(R"({"suggestions":[{"i":"a","title":"Send the deck","state":"accepted"},
                                             {"i":"b","title":"Book the room","state":"dismissed"},
                                             {"i":"c","title":"Call Ivo","state":"open","why":"he asked"}]})")
            << Open{{QStringLiteral("c"), QStringLiteral("Call Ivo"), QStringLiteral("he asked")}};
        QTest::newRow("no id takes its position, a numeric id its text")
            << QByteArray(R"({"suggestions":[{"title":"First"},{"i":7,"title":"Second","why":3}]})")
            << Open{{QStringLiteral("0"), QStringLiteral("First"), std::nullopt},
                    {QStringLiteral("7"), QStringLiteral("Second"), QStringLiteral("3")}};
        QTest::newRow("blank or missing titles are skipped, positions still count")
            << QByteArray(R"({"suggestions":[{"title":"  "},{"i":"x"},"not a map",{"title":"Kept"}]})")
            << Open{{QStringLiteral("3"), QStringLiteral("Kept"), std::nullopt}};
    }
    void openSuggestions() {
        QFETCH(QByteArray, review);
        QFETCH(Open, open);
        const QJsonDocument doc = QJsonDocument::fromJson(review);
        const QJsonValue value = doc.isArray() ? QJsonValue(doc.array()) : QJsonValue(doc.object());
        QCOMPARE(Reviews::openSuggestions(value), open);
    }
};

QTEST_GUILESS_MAIN(TestReviewSuggestions)
#include "tst_review_suggestions.moc"
