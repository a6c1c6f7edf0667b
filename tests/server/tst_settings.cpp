#include "core/Keychain.h"
#include "fakes/MemorySecretStore.h"
#include "server/Platform.h"
#include "server/Settings.h"

#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

// One preference's key and accessors, for the table of preferences.
struct Preference {
    QString key;
    std::function<QVariant(const Settings&)> get;
    std::function<void(Settings&, const QVariant&)> set;
};
Q_DECLARE_METATYPE(Preference)

namespace {
const QString base = Platform::defaultBase;
const QString accountKey = QStringLiteral("acct-key");

QStringList names(const QList<Workspace>& list) {
    QStringList out;
    for (const Workspace& w : list)
        out << w.name;
    return out;
}
QStringList names(const QList<std::pair<Workspace, API>>& list) {
    QStringList out;
    for (const auto& [w, api] : list)
        out << w.name;
    return out;
}
} // namespace

// Settings walked through the account states on a store in a temporary file, the way a user's runs meet it.
class TestSettings : public QObject {
    Q_OBJECT
    QTemporaryDir m_tmp;
    std::unique_ptr<MemorySecretStore> m_secrets;
    std::unique_ptr<Keychain> m_keychain;
    std::unique_ptr<QSettings> m_store;
    std::unique_ptr<QNetworkAccessManager> m_network = API::makeNetwork();

    // A new instance on the same store, as at the next start of the program.
    std::unique_ptr<Settings> reopen() {
        m_store =
            std::make_unique<QSettings>(m_tmp.filePath(QStringLiteral("orvane.conf")), QSettings::IniFormat);
        return std::make_unique<Settings>(*m_store, *m_keychain, *m_network);
    }
    QList<Workspace> twoProjects() const {
        return {Platform::project(base, QStringLiteral("brevik"), QStringLiteral("Brevik"),
                                  QStringLiteral("owner")),
                Platform::project(base, QStringLiteral("noctal"), QStringLiteral("Noctal"),
                                  QStringLiteral("member"))};
    }
    // Gives the legacy workspace of that name a key.
    void giveKey(Settings& s, const QString& name, const QString& key) {
        for (const Workspace& w : s.workspaces())
            if (w.name == name) s.setKey(key, w);
    }

private slots:
    void init() {
        QFile::remove(m_tmp.filePath(QStringLiteral("orvane.conf")));
        m_keychain.reset();
        m_secrets = std::make_unique<MemorySecretStore>();
        m_keychain = std::make_unique<Keychain>(*m_secrets, QStringLiteral("svc"));
    }

    // Each preference: its default on a fresh store, a stored value that is no value of its type read as the
    // default, and another value kept by the next start (a stored false or 0 stays false or 0).
    void preferences_data() {
        QTest::addColumn<Preference>("pref");
        QTest::addColumn<QVariant>("fallback");
        QTest::addColumn<QVariant>("other");
#define PREF(key, get, set, fallback, other)                                                                 \
    QTest::newRow(key " defaults to " #fallback " and keeps " #other)                                        \
        << Preference{key, [](const Settings& s) { return QVariant(s.get()); },                              \
                      [](Settings& s, const QVariant& v) { s.set(v.value<decltype(s.get())>()); }}           \
        << QVariant(fallback) << QVariant(other)
        PREF("trackWorkday", trackWorkday, setTrackWorkday, false, true);
        PREF("includeTitles", includeTitles, setIncludeTitles, true, false);
        PREF("offerCalls", offerCalls, setOfferCalls, true, false);
        PREF("autoRecordCalls", autoRecordCalls, setAutoRecordCalls, false, true);
        PREF("liveTips", liveTips, setLiveTips, true, false);
        PREF("autoPin", autoPin, setAutoPin, true, false);
        PREF("liveHearing", liveHearing, setLiveHearing, true, false);
        PREF("breakReminders", breakReminders, setBreakReminders, true, false);
        PREF("breakMinutes", breakMinutes, setBreakMinutes, 50, 0);
        PREF("workoutOn", workoutOn, setWorkoutOn, true, false);
        PREF("workoutMinute", workoutMinute, setWorkoutMinute, 1050, 420);
        PREF("wrapOn", wrapOn, setWrapOn, true, false);
        PREF("wrapMinute", wrapMinute, setWrapMinute, 1080, 0);
        PREF("autoFileTeamCalls", autoFileTeamCalls, setAutoFileTeamCalls, false, true);
#undef PREF
    }
    void preferences() {
        QFETCH(Preference, pref);
        QFETCH(QVariant, fallback);
        QFETCH(QVariant, other);
        QCOMPARE(pref.get(*reopen()), fallback);
        m_store->setValue(pref.key, QStringLiteral("soon"));
        QCOMPARE(pref.get(*reopen()), fallback);
        pref.set(*reopen(), other);
        QCOMPARE(pref.get(*reopen()), other);
    }

    void freshStoreHasTheLegacyDefaults() {
        auto s = reopen();
        QCOMPARE(names(s->workspaces()), (QStringList{"Brevik", "Noctal"}));
        QCOMPARE(s->activeID(), s->workspaces().first().id);
        QCOMPARE(s->platformBase(), base);
        QVERIFY(!s->signedIn());
        s->setNames({{QStringLiteral("X"), QStringLiteral("Me")}});
        const QList<Workspace> first = s->workspaces();
        s = reopen();
        QCOMPARE(s->workspaces(), first); // fresh ids survive the first run
        QCOMPARE(s->names().value(QStringLiteral("X")), QStringLiteral("Me"));
    }

    void valuesOfTheWrongTypeReadAsDefaults() {
        {
            QSettings raw(m_tmp.filePath(QStringLiteral("orvane.conf")), QSettings::IniFormat);
            raw.setValue("workspaces", QStringLiteral("[{\"name\": 3}]"));
            raw.setValue("projects", QStringLiteral("not json"));
            raw.setValue("lastFiled", QStringLiteral("{}"));
            raw.setValue("platformBase", QStringLiteral("   "));
            raw.setValue("active", QStringLiteral("not-a-uuid"));
        }
        const auto s = reopen();
        QCOMPARE(names(s->workspaces()), (QStringList{"Brevik", "Noctal"}));
        QVERIFY(s->projects().isEmpty());
        QVERIFY(!s->lastFiled());
        QCOMPARE(s->platformBase(), base);
        QCOMPARE(s->activeID(), s->workspaces().first().id);
    }

    void notSignedInUsesLegacyServersWithKeys() {
        const auto s = reopen();
        QVERIFY(s->connected().isEmpty()); // remote servers without a key are not usable
        giveKey(*s, QStringLiteral("Noctal"), QStringLiteral("  noctal-key \n"));
        QCOMPARE(names(s->connected()), QStringList{"Noctal"});
        QCOMPARE(s->connected().first().second.key(), QStringLiteral("noctal-key"));
        QCOMPARE(s->home()->name, QStringLiteral("Noctal"));
        QCOMPARE(s->boardURL(), QUrl(QStringLiteral("https://noctal.orvane.app/#/board")));
        // The key lives in the secret store under the upper-case id, never in the settings file.
        const QString id = s->workspaces().at(1).id.toString(QUuid::WithoutBraces).toUpper();
        QCOMPARE(m_keychain->get(id), QStringLiteral("noctal-key"));
        QFile file(m_tmp.filePath(QStringLiteral("orvane.conf")));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(!file.readAll().contains("noctal-key"));
    }

    void localLegacyServerNeedsNoKey() {
        const auto s = reopen();
        Workspace local = Workspace::make(QStringLiteral("Here"), QStringLiteral("http://127.0.0.1:8080/"));
        s->setWorkspaces(QList<Workspace>(s->workspaces()) << local);
        QCOMPARE(names(s->connected()), QStringList{"Here"});
        QCOMPARE(s->connected().first().second.server(), QStringLiteral("http://127.0.0.1:8080"));
    }

    void removingTheActiveWorkspaceMovesActive() {
        const auto s = reopen();
        const Workspace first = s->workspaces().first();
        giveKey(*s, first.name, QStringLiteral("k"));
        s->remove(first);
        QCOMPARE(names(s->workspaces()), QStringList{"Noctal"});
        QCOMPARE(s->activeID(), s->workspaces().first().id);
        QVERIFY(!m_keychain->get(first.id.toString(QUuid::WithoutBraces).toUpper()));
        QCOMPARE(names(reopen()->workspaces()), QStringList{"Noctal"});
    }

    void accountStates() {
        auto s = reopen();
        giveKey(*s, QStringLiteral("Brevik"), QStringLiteral("brevik-key"));
        QSignalSpy changed(s.get(), &Settings::changed);

        // Signed in, no project yet.
        s->signIn(accountKey, QStringLiteral("ada@example.com"), QStringLiteral("Ada"));
        QVERIFY(!changed.isEmpty());
        QTRY_COMPARE_WITH_TIMEOUT(m_secrets->item(QStringLiteral("svc"), Keychain::accountItem),
                                  (MemorySecretStore::Item{Keychain::accountLabel, accountKey.toUtf8()}),
                                  5000);
        QVERIFY(s->signedIn());
        QVERIFY(!s->projectMode());
        QVERIFY(s->showLegacy());
        QCOMPARE(names(s->connected()), QStringList{"Brevik"});
        QCOMPARE(s->boardURL(), QUrl(base + "/app"));
        QCOMPARE(s->personalAPI()->apiRoot(), base + "/api/v1/personal");

        // With projects.
        s->apply({QStringLiteral("ada@example.com"), std::nullopt, base + "/api/v1/me/personal"},
                 twoProjects());
        QVERIFY(s->projectMode());
        QVERIFY(!s->showLegacy());
        QCOMPARE(names(s->targets()), (QStringList{"Brevik", "Noctal"}));
        QVERIFY(s->targets().first().isProject());
        for (const auto& [w, api] : s->connected())
            QCOMPARE(api.key(), accountKey);
        QVERIFY(!s->workspace(s->workspaces().first().id)); // legacy ids are hidden
        QCOMPARE(s->workspace(s->targets().at(1).id)->slug, QStringLiteral("noctal"));
        QCOMPARE(s->accountName(), QStringLiteral("Ada")); // a reply without a name keeps the name
        QCOMPARE(s->personalAPI()->apiRoot(), base + "/api/v1/me/personal");
        QCOMPARE(s->personalAPI()->server(), base + "/app");
        QCOMPARE(s->home()->slug, QStringLiteral("brevik"));
        QCOMPARE(s->myName(s->home()), QStringLiteral("Ada"));
        QCOMPARE(s->destName(QStringLiteral("noctal")), QStringLiteral("Noctal"));
        QCOMPARE(s->destName(FiledRef::personal), QStringLiteral("Personal"));
        QCOMPARE(s->destName(QStringLiteral("gone")), QStringLiteral("gone"));
        QCOMPARE(s->link(FiledRef::personal, QStringLiteral("rec:1")), QUrl(base + "/app/r/rec%3A1"));
        QCOMPARE(s->link(QStringLiteral("noctal"), QStringLiteral("rec:1")),
                 QUrl(base + "/app/p/noctal/#/library/call/rec%3A1"));
        QVERIFY(!s->link(QStringLiteral("gone"), QStringLiteral("rec:1")));

        s->setWorkdaySlug(QStringLiteral("noctal"));
        s->setLastFiled(FiledRef{QStringLiteral("rec:1"), QStringLiteral("Standup"), QStringLiteral("noctal"),
                                 QDateTime(QDate(2026, 3, 4), QTime(9, 0), Qt::UTC)});
        QCOMPARE(s->home()->name, QStringLiteral("Noctal"));

        // The next start, whose keys arrive from the store after it: the views hear of them.
        s.reset();
        m_keychain = std::make_unique<Keychain>(*m_secrets, QStringLiteral("svc"));
        s = reopen();
        QVERIFY(!s->signedIn());
        QSignalSpy arrived(s.get(), &Settings::changed);
        QVERIFY(arrived.wait(5000));
        QVERIFY(s->signedIn());
        QCOMPARE(names(s->connected()), (QStringList{"Brevik", "Noctal"}));
        QCOMPARE(s->accountEmail(), QStringLiteral("ada@example.com"));
        QCOMPARE(s->projects(), twoProjects());
        QCOMPARE(s->lastFiled()->title, QStringLiteral("Standup"));
        QCOMPARE(s->home()->name, QStringLiteral("Noctal"));
        QVERIFY(s->personalAPI());
        QCOMPARE(s->api(QStringLiteral("brevik"))->endpoint(), base + "/api/v1/p/brevik");
        QVERIFY(!s->autoFileTeamCalls());

        // Sign-out.
        s->signOut();
        QVERIFY(!s->signedIn());
        QVERIFY(!m_keychain->get(Keychain::accountItem));
        QVERIFY(s->projects().isEmpty());
        QVERIFY(s->showLegacy());
        QCOMPARE(names(s->connected()), QStringList{"Brevik"});
        QVERIFY(!s->personalAPI());
        QVERIFY(!s->lastFiled());
        QVERIFY(!s->workdaySlug());
        QCOMPARE(giveKeyStillThere(*s), QStringLiteral("brevik-key"));
        QVERIFY(!reopen()->signedIn());
    }

    void aKeyWithoutEmailIsNotSignedIn() {
        m_keychain->set(Keychain::accountItem, accountKey);
        QVERIFY(!reopen()->signedIn());
    }

    void anotherPlatformDropsTheCachedProjects() {
        {
            const auto s = reopen();
            s->signIn(accountKey, QStringLiteral("ada@example.com"), std::nullopt);
            s->apply({QStringLiteral("ada@example.com"), std::nullopt, std::nullopt}, twoProjects());
            s->setPlatformBase(QStringLiteral(" http://127.0.0.1:9090/ "));
        }
        const auto s = reopen();
        QCOMPARE(s->platformBase(), QStringLiteral("http://127.0.0.1:9090"));
        QVERIFY(s->projects().isEmpty());
        QVERIFY(!s->projectMode());
        QVERIFY(s->signedIn());
        QCOMPARE(m_keychain->get(Keychain::accountItem), accountKey);
    }

    void olderProjectsGainTheirApiRoot() {
        Workspace old = Platform::project(base, QStringLiteral("a b"), QStringLiteral("A B"), std::nullopt);
        old.apiRoot.reset();
        {
            const auto s = reopen();
            s->signIn(accountKey, QStringLiteral("ada@example.com"), std::nullopt);
            s->apply({QStringLiteral("ada@example.com"), std::nullopt, std::nullopt}, {old});
        }
        QCOMPARE(reopen()->projects().first().apiRoot, base + "/api/v1/p/a%20b");
    }

    void legacyServersCanBeHiddenFromOutside() {
        {
            QSettings raw(m_tmp.filePath(QStringLiteral("orvane.conf")), QSettings::IniFormat);
            raw.setValue("legacyServers", false);
        }
        const auto s = reopen();
        QVERIFY(!s->showLegacy());
        QVERIFY(s->targets().isEmpty());
        QVERIFY(!s->home());
        QVERIFY(!s->boardURL());
    }

    void minuteConversionRoundTrips_data() {
        QTest::addColumn<int>("minute");
        QTest::newRow("midnight") << 0;
        QTest::newRow("workout") << 1050;
        QTest::newRow("wrap") << 1080;
        QTest::newRow("last minute") << 1439;
    }
    void minuteConversionRoundTrips() {
        QFETCH(int, minute);
        QCOMPARE(Settings::minute(Settings::date(minute)), minute);
        QCOMPARE(Settings::date(minute).date(), QDate::currentDate());
    }

private:
    QString giveKeyStillThere(Settings& s) {
        for (const Workspace& w : s.workspaces())
            if (w.name == QLatin1String("Brevik")) return s.key(w);
        return {};
    }
};

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"
