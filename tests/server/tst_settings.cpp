#include "core/Keychain.h"
#include "fakes/MemorySecretStore.h"
#include "server/Platform.h"
#include "server/Settings.h"

#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

// One preference's key and accessors, for the table of preferences.
struct Preference {
    QString key;
    std::function<QVariant(const Settings&)> get;
    std::function<void(Settings&, const QVariant&)> set;
};
Q_DECLARE_METATYPE(Preference)

namespace {
const QString base = Platform::defaultBase;
const QString accountKey = u"acct-key"_s;

template <typename List> QStringList names(const List& list) {
    QStringList out;
    for (const auto& entry : list) {
        if constexpr (std::is_same_v<List, QList<Workspace>>)
            out << entry.name;
        else
            out << entry.first.name;
    }
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
        m_store = std::make_unique<QSettings>(m_tmp.filePath(u"orvane.conf"_s), QSettings::IniFormat);
        return std::make_unique<Settings>(*m_store, *m_keychain, *m_network);
    }
    QList<Workspace> twoProjects() const {
        return {Platform::project(base, u"brevik"_s, u"Brevik"_s, u"owner"_s),
                Platform::project(base, u"noctal"_s, u"Noctal"_s, u"member"_s)};
    }
    // Gives the legacy workspace of that name a key.
    static void giveKey(Settings& s, const QString& name, const QString& key) {
        for (const Workspace& w : s.workspaces())
            if (w.name == name) s.setKey(key, w);
    }
    static QString keyOf(const Settings& s, const QString& name) {
        for (const Workspace& w : s.workspaces())
            if (w.name == name) return s.key(w);
        return {};
    }

private slots:
    void init() {
        QFile::remove(m_tmp.filePath(u"orvane.conf"_s));
        m_keychain.reset();
        m_secrets = std::make_unique<MemorySecretStore>();
        m_keychain = std::make_unique<Keychain>(*m_secrets, u"svc"_s);
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
        m_store->setValue(pref.key, u"soon"_s);
        QCOMPARE(pref.get(*reopen()), fallback);
        pref.set(*reopen(), other);
        QCOMPARE(pref.get(*reopen()), other);
    }

    void legacyDefaults_data() {
        QTest::addColumn<bool>("damaged");
        QTest::newRow("a fresh store has the legacy defaults") << false;
        QTest::newRow("values of the wrong type read as the defaults") << true;
    }
    void legacyDefaults() {
        QFETCH(bool, damaged);
        if (damaged) {
            QSettings raw(m_tmp.filePath(u"orvane.conf"_s), QSettings::IniFormat);
            raw.setValue("workspaces", u"[{\"name\": 3}]"_s);
            raw.setValue("projects", u"not json"_s);
            raw.setValue("lastFiled", u"{}"_s);
            raw.setValue("platformBase", u"   "_s);
            raw.setValue("active", u"not-a-uuid"_s);
        }
        auto s = reopen();
        QCOMPARE(names(s->workspaces()), (QStringList{"Brevik", "Noctal"}));
        QCOMPARE(s->activeID(), s->workspaces().first().id);
        QCOMPARE(s->platformBase(), base);
        QVERIFY(s->projects().isEmpty());
        QVERIFY(!s->lastFiled());
        QVERIFY(!s->signedIn());
        const QList<Workspace> first = s->workspaces();
        s->setNames({{u"X"_s, u"Me"_s}});
        s = reopen();
        QCOMPARE(s->workspaces(), first); // fresh ids survive the first run
        QCOMPARE(s->names().value(u"X"_s), u"Me"_s);
    }

    void notSignedInUsesLegacyServersWithKeys() {
        const auto s = reopen();
        QVERIFY(s->connected().isEmpty()); // remote servers without a key are not usable
        giveKey(*s, u"Noctal"_s, u"  noctal-key \n"_s);
        QCOMPARE(names(s->connected()), QStringList{"Noctal"});
        QCOMPARE(s->connected().first().second.key(), u"noctal-key"_s);
        QCOMPARE(s->home()->name, u"Noctal"_s);
        QCOMPARE(s->boardURL(), QUrl(u"https://noctal.orvane.app/#/board"_s));
        // The key lives in the secret store under the upper-case id, never in the settings file.
        const QString id = s->workspaces().at(1).id.toString(QUuid::WithoutBraces).toUpper();
        QCOMPARE(m_keychain->get(id), u"noctal-key"_s);
        QFile file(m_tmp.filePath(u"orvane.conf"_s));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(!file.readAll().contains("noctal-key"));
        // A server on this computer needs no key.
        s->setWorkspaces(QList<Workspace>(s->workspaces())
                         << Workspace::make(u"Here"_s, u"http://127.0.0.1:8080/"_s));
        QCOMPARE(names(s->connected()), (QStringList{"Noctal", "Here"}));
    }

    void removingTheActiveWorkspaceMovesActive() {
        const auto s = reopen();
        const Workspace first = s->workspaces().first();
        giveKey(*s, first.name, u"k"_s);
        s->remove(first);
        QCOMPARE(names(s->workspaces()), QStringList{"Noctal"});
        QCOMPARE(s->activeID(), s->workspaces().first().id);
        QVERIFY(!m_keychain->get(first.id.toString(QUuid::WithoutBraces).toUpper()));
        QCOMPARE(names(reopen()->workspaces()), QStringList{"Noctal"});
    }

    void accountStates() {
        auto s = reopen();
        giveKey(*s, u"Brevik"_s, u"brevik-key"_s);

        // Signed in, no project yet.
        s->signIn(accountKey, u"ada@example.com"_s, u"Ada"_s);
        QTRY_COMPARE_WITH_TIMEOUT(m_secrets->item(u"svc"_s, Keychain::accountItem),
                                  (MemorySecretStore::Item{Keychain::accountLabel, accountKey.toUtf8()}),
                                  5000);
        QVERIFY(s->signedIn());
        QVERIFY(!s->projectMode());
        QVERIFY(s->showLegacy());
        QCOMPARE(names(s->connected()), QStringList{"Brevik"});
        QCOMPARE(s->boardURL(), QUrl(base + "/app"));
        QCOMPARE(s->personalAPI()->apiRoot(), base + "/api/v1/personal");

        // With projects.
        s->apply({u"ada@example.com"_s, std::nullopt, base + "/api/v1/me/personal"}, twoProjects());
        QVERIFY(s->projectMode());
        QVERIFY(!s->showLegacy());
        QCOMPARE(names(s->targets()), (QStringList{"Brevik", "Noctal"}));
        for (const auto& [w, api] : s->connected())
            QCOMPARE(api.key(), accountKey);
        QVERIFY(!s->workspace(s->workspaces().first().id)); // legacy ids are hidden
        QCOMPARE(s->workspace(s->targets().at(1).id)->slug, u"noctal"_s);
        QCOMPARE(s->accountName(), u"Ada"_s); // a reply without a name keeps the name
        QCOMPARE(s->personalAPI()->apiRoot(), base + "/api/v1/me/personal");
        QCOMPARE(s->home()->slug, u"brevik"_s);
        QCOMPARE(s->destName(u"noctal"_s), u"Noctal"_s);
        QCOMPARE(s->destName(FiledRef::personal), u"Personal"_s);
        QCOMPARE(s->link(FiledRef::personal, u"rec:1"_s), QUrl(base + "/app/r/rec%3A1"));
        QCOMPARE(s->link(u"noctal"_s, u"rec:1"_s), QUrl(base + "/app/p/noctal/#/library/call/rec%3A1"));
        QVERIFY(!s->link(u"gone"_s, u"rec:1"_s));

        s->setWorkdaySlug(u"noctal"_s);
        s->setLastFiled(FiledRef{u"rec:1"_s, u"Standup"_s, u"noctal"_s,
                                 QDateTime(QDate(2026, 3, 4), QTime(9, 0), Qt::UTC)});
        QCOMPARE(s->home()->name, u"Noctal"_s);

        // The next start, whose keys arrive from the store after it: the views hear of them.
        s.reset();
        m_keychain = std::make_unique<Keychain>(*m_secrets, u"svc"_s);
        s = reopen();
        QVERIFY(!s->signedIn());
        QSignalSpy arrived(s.get(), &Settings::changed);
        // Each key arrives on its own; the store has answered for all of them once the keychain settles.
        QSignalSpy settled(m_keychain.get(), &Keychain::settled);
        QVERIFY(settled.wait(5000));
        QVERIFY(!arrived.isEmpty());
        QVERIFY(s->signedIn());
        QCOMPARE(names(s->connected()), (QStringList{"Brevik", "Noctal"}));
        QCOMPARE(s->accountEmail(), u"ada@example.com"_s);
        QCOMPARE(s->projects(), twoProjects());
        QCOMPARE(s->lastFiled()->title, u"Standup"_s);
        QCOMPARE(s->home()->name, u"Noctal"_s);

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
        QCOMPARE(keyOf(*s, u"Brevik"_s), u"brevik-key"_s);
    }

    void aKeyWithoutEmailIsNotSignedIn() {
        m_keychain->set(Keychain::accountItem, accountKey);
        QVERIFY(!reopen()->signedIn());
    }

    void anotherPlatformDropsTheCachedProjects() {
        {
            const auto s = reopen();
            s->signIn(accountKey, u"ada@example.com"_s, std::nullopt);
            s->apply({u"ada@example.com"_s, std::nullopt, std::nullopt}, twoProjects());
            s->setPlatformBase(u" http://127.0.0.1:9090/ "_s);
        }
        const auto s = reopen();
        QCOMPARE(s->platformBase(), u"http://127.0.0.1:9090"_s);
        QVERIFY(s->projects().isEmpty());
        QVERIFY(!s->projectMode());
        QVERIFY(s->signedIn());
        QCOMPARE(m_keychain->get(Keychain::accountItem), accountKey);
    }

    void olderProjectsGainTheirApiRoot() {
        Workspace old = Platform::project(base, u"a b"_s, u"A B"_s, std::nullopt);
        old.apiRoot.reset();
        {
            const auto s = reopen();
            s->signIn(accountKey, u"ada@example.com"_s, std::nullopt);
            s->apply({u"ada@example.com"_s, std::nullopt, std::nullopt}, {old});
        }
        QCOMPARE(reopen()->projects().first().apiRoot, base + "/api/v1/p/a%20b");
    }

    void legacyServersCanBeHiddenFromOutside() {
        {
            QSettings raw(m_tmp.filePath(u"orvane.conf"_s), QSettings::IniFormat);
            raw.setValue("legacyServers", false);
        }
        const auto s = reopen();
        QVERIFY(!s->showLegacy());
        QVERIFY(s->targets().isEmpty());
        QVERIFY(!s->home());
        QVERIFY(!s->boardURL());
    }

    void minutesOfTheDayRoundTrip() {
        for (const int minute : {0, 1050, 1439})
            QCOMPARE(Settings::minute(Settings::date(minute)), minute);
    }
};

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"
