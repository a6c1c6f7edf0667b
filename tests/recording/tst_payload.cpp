#include "core/Fmt.h"
#include "recording/Payload.h"

#include <QFile>
#include <QJsonArray>
#include <QTemporaryDir>
#include <QTest>

class TestPayload : public QObject {
    Q_OBJECT
    std::unique_ptr<QTemporaryDir> m_tmp;
    std::shared_ptr<Session> make() {
        return Session::create(QStringLiteral("Weekly"), QStringLiteral("Screen"), std::nullopt,
                               QDateTime(QDate(2026, 3, 4), QTime(9, 15, 2), Qt::UTC), m_tmp->path());
    }

private slots:
    void init() { m_tmp = std::make_unique<QTemporaryDir>(); }

    // The keys the platform requires come from the server's own check in the upload tests; here, what a
    // session that is still recording and has nothing in it sends.
    void anEmptySessionStillRecording() {
        const QJsonObject body = Payload::dictionary(*make(), std::nullopt);
        QVERIFY(body.value("url").isNull());
        QVERIFY(body.value("routed").isNull());
        QCOMPARE(body.value("self").toString(), QString());
        QCOMPARE(body.value("started").toString(), QStringLiteral("2026-03-04T09:15:02.000Z"));
        QVERIFY(Fmt::parseISO(body.value("ended").toString())); // not ended yet: now
        QCOMPARE(body.value("expect_audio").toBool(), false);
    }

    void imagesTravelInsideAndUnreadableOnesAreLeftOut() {
        auto s = make();
        s->addShot(1.5, "first");
        s->addShot(2.5, "second");
        s->addPin(3, QStringLiteral("auto \"pin\""), "pin-a", true);
        s->addPin(4, QStringLiteral("voice note"), "pin-b", false, true);
        s->addPin(5, QStringLiteral("gone"), "pin-c");
        QFile::remove(s->url(QStringLiteral("shots/001.jpg")));
        QFile::remove(s->url(QStringLiteral("pins/002.jpg")));
        s->meta.apps = QList<AppSpan>{{0, 5, QStringLiteral("Code"), std::nullopt}};
        s->meta.routed = Routed{0.5, {QStringLiteral("title")}, true};
        const QJsonObject body = Payload::dictionary(*s, QStringLiteral("Ada"));
        const QJsonArray shots = body.value("shots").toArray(), pins = body.value("pins").toArray();
        QCOMPARE(shots.size(), 1);
        QCOMPARE(shots.at(0).toObject().value("jpeg").toString(),
                 QString::fromLatin1(QByteArray("first").toBase64()));
        QCOMPARE(pins.size(), 2);
        const QJsonObject autoPin = pins.at(0).toObject(), voice = pins.at(1).toObject();
        QCOMPARE(autoPin.value("note").toString(), QStringLiteral("auto \"pin\""));
        QCOMPARE(autoPin.value("auto").toBool(), true);
        QVERIFY(!autoPin.contains("text_only"));
        QCOMPARE(voice.value("text_only").toBool(), true);
        QVERIFY(!voice.contains("auto"));
        QVERIFY(body.value("apps").toArray().at(0).toObject().value("title").isNull());
        QCOMPARE(body.value("routed").toObject().value("auto").toBool(), true);
        QCOMPARE(body.value("self").toString(), QStringLiteral("Ada"));
    }
};

QTEST_GUILESS_MAIN(TestPayload)
#include "tst_payload.moc"
