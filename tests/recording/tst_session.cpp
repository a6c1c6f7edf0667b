#include "core/Fmt.h"
#include "recording/Session.h"
#include "support/Files.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using testsupport::writeFile;

namespace {
const QDateTime started(QDate(2026, 3, 4), QTime(9, 15, 2), Qt::UTC);

// A record with every field set, as at the end of an upload that stopped half-way.
SessionMeta fullMeta() {
    SessionMeta m;
    m.title = QStringLiteral("Weekly sync");
    m.app = QStringLiteral("Zoom");
    m.started = started;
    m.ended = started.addSecs(1800);
    m.participants = {QStringLiteral("Ada"), QStringLiteral("Linus")};
    m.workspaceID = QUuid::fromString(QStringLiteral("6F1C2B9A-3D4E-4F50-8A6B-7C8D9E0F1A2B"));
    m.micOk = true;
    m.shots = {{1.5, QStringLiteral("shots/000.jpg")}};
    m.pins = {{2.0, QStringLiteral("note"), QStringLiteral("pins/000.jpg"), true, std::nullopt}};
    m.levelsMic = {{0, 1.5}};
    m.levelsTab = {{0.5, 2.5}};
    m.audioFile = QStringLiteral("audio.m4a");
    m.fromCall = true;
    m.kind = QStringLiteral("call");
    m.callApp = QStringLiteral("Zoom");
    m.ocr = QList<OcrEntry>{{3.0, QStringLiteral("Zoom"), QStringLiteral("Agenda")}};
    m.apps = QList<AppSpan>{{0, 10, QStringLiteral("Zoom"), QStringLiteral("Meeting")},
                            {10, 20, QStringLiteral("Code"), {}}};
    m.routed = Routed{0.8, {QStringLiteral("participants")}, false};
    m.routeDone = true;
    m.personal = false;
    m.waitingPersonal = false;
    m.callId = QStringLiteral("rec:1");
    m.audioUploaded = true;
    m.processed = false;
    m.lastError = QStringLiteral("HTTP 502");
    m.uploadedServer = QStringLiteral("https://orvane.app");
    return m;
}

QJsonObject minimalRecord() {
    SessionMeta m;
    m.title = QStringLiteral("t");
    m.app = QStringLiteral("Screen");
    m.started = started;
    return m.toJson().toObject();
}
} // namespace

class TestSession : public QObject {
    Q_OBJECT
    std::unique_ptr<QTemporaryDir> m_tmp;
    QString base() const { return m_tmp->path(); }

private slots:
    void init() { m_tmp = std::make_unique<QTemporaryDir>(); }

    void savedAndLoadedBackEqual() {
        auto session =
            Session::create(QStringLiteral("x"), QStringLiteral("Zoom"), std::nullopt, started, base());
        session->meta = fullMeta();
        session->meta.ended = session->meta.ended->addMSecs(400); // sub-second parts are dropped by the save
        session->save();
        const auto loaded = Session::load(session->dir);
        QVERIFY(loaded);
        QCOMPARE(loaded->meta, fullMeta());
    }

    void strictDecoding_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QJsonValue>("value"); // undefined: the key is removed
        QTest::addColumn<bool>("loads");
        QTest::newRow("no micOk") << "micOk" << QJsonValue(QJsonValue::Undefined) << false;
        QTest::newRow("micOk as text") << "micOk" << QJsonValue("true") << false;
        QTest::newRow("shot without file")
            << "shots" << QJsonValue(QJsonArray{QJsonObject{{"t", 1}}}) << false;
        QTest::newRow("no routeDone") << "routeDone" << QJsonValue(QJsonValue::Undefined) << true;
        QTest::newRow("unknown key") << "future" << QJsonValue(42) << true;
    }
    void strictDecoding() {
        QFETCH(QString, key);
        QFETCH(QJsonValue, value);
        QFETCH(bool, loads);
        QJsonObject record = minimalRecord();
        if (value.isUndefined())
            record.remove(key);
        else
            record.insert(key, value);
        const QString dir = base() + QStringLiteral("/one");
        QVERIFY(QDir().mkpath(dir));
        writeFile(dir + QStringLiteral("/meta.json"), QJsonDocument(record).toJson());
        QCOMPARE(bool(Session::load(dir)), loads);
    }

    void foldersOfTheSameSecondGetSuffixes() {
        QStringList names;
        for (int i = 0; i < 3; ++i)
            names << QFileInfo(Session::create(QStringLiteral("x"), QStringLiteral("Screen"), std::nullopt,
                                               started, base())
                                   ->dir)
                         .fileName();
        const QString stamp = Fmt::stamp(started);
        QCOMPARE(names, (QStringList{stamp, stamp + "-2", stamp + "-3"}));
        QVERIFY(QFileInfo(base() + "/" + stamp + "/shots").isDir());
        QVERIFY(QFileInfo(base() + "/" + stamp + "/pins").isDir());
    }

    void pendingIsFinishedSessionsOldestFirst() {
        auto make = [&](int minutesLater, bool finished) {
            auto s = Session::create(QStringLiteral("m%1").arg(minutesLater), QStringLiteral("Screen"),
                                     std::nullopt, started.addSecs(60 * minutesLater), base());
            if (finished) s->meta.ended = s->meta.started.addSecs(30);
            s->save();
        };
        make(5, true);
        make(1, true);
        make(3, false); // still recording, or left by a crash
        QVERIFY(QDir().mkpath(base() + "/no-meta"));
        writeFile(base() + "/stray.txt", "x");
        QVERIFY(QDir().mkpath(base() + "/corrupt"));
        writeFile(base() + "/corrupt/meta.json", "{\"title\": ");

        QStringList titles;
        for (const auto& s : Session::pending(base()))
            titles << s->meta.title;
        QCOMPARE(titles, (QStringList{"m1", "m5"}));
        // The corrupt record is left untouched.
        QFile corrupt(base() + "/corrupt/meta.json");
        QVERIFY(corrupt.open(QIODevice::ReadOnly));
        QCOMPARE(corrupt.readAll(), QByteArray("{\"title\": "));
    }

    void imagesAreNumberedAndFailuresSkipped() {
        auto s =
            Session::create(QStringLiteral("x"), QStringLiteral("Screen"), std::nullopt, started, base());
        s->addShot(1, "a");
        s->addShot(2, "b");
        QCOMPARE(s->meta.shots.last().file, QStringLiteral("shots/001.jpg"));
        // A folder that vanished: the entry is skipped and the next image reuses the number.
        QVERIFY(QDir(s->url(QStringLiteral("shots"))).removeRecursively());
        s->addShot(4, "d");
        QCOMPARE(s->meta.shots.size(), 2);
        QVERIFY(QDir().mkpath(s->url(QStringLiteral("shots"))));
        s->addShot(5, "e");
        QCOMPARE(s->meta.shots.last().file, QStringLiteral("shots/002.jpg"));
    }
};

QTEST_GUILESS_MAIN(TestSession)
#include "tst_session.moc"
