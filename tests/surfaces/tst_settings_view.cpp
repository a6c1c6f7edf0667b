#include "SettingsWindowFixture.h"
#include "core/Workspace.h"
#include "support/Rows.h"
#include "surfaces/SettingsAccount.h"
#include "surfaces/SettingsBehaviour.h"
#include "surfaces/SettingsLegacy.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QSpinBox>
#include <QTest>
#include <QTimeEdit>

using namespace Qt::Literals::StringLiterals;
using testsupport::row;

Q_DECLARE_METATYPE(SignIn::Phase)

namespace {

Workspace project(const QString& slug, const QString& name) {
    Workspace p = Workspace::make(name, u"https://orvane.app/app/p/"_s + slug);
    p.slug = slug;
    return p;
}

QString keyAccount(const Workspace& w) {
    return w.id.toString(QUuid::WithoutBraces).toUpper();
}

} // namespace

// The settings view's logic on fakes: what each account state says and does, every control's write, and the
// legacy servers' keys.
class TestSettingsView : public QObject {
    Q_OBJECT

private slots:
    void eachAccountStateSaysItsOwnTexts_data() {
        QTest::addColumn<bool>("signedIn");
        QTest::addColumn<QString>("base");
        QTest::addColumn<SignIn::Phase>("phase");
        QTest::addColumn<QStringList>("texts");
        QTest::addColumn<QStringList>("buttons");
        const QStringList codeButtons{u"Copy"_s, u"Open the page again"_s, u"Cancel"_s};
        const QUrl page(u"https://orvane.app/app/device?code=WXYZ-1234"_s);
        row("signed in on the default platform with no project yet", true, u"https://orvane.app"_s,
            SignIn::Phase(SignIn::Idle{}),
            QStringList{u"Signed in as Ada"_s, u"Server: orvane.app"_s, u"No project yet."_s},
            QStringList{u"Sign out"_s, u"Refresh"_s, u"Create or join one\u2026"_s});
        row("signed in elsewhere is marked as testing and shows the account's error", true,
            u"http://127.0.0.1:7440"_s, SignIn::Phase(SignIn::Idle{}),
            QStringList{u"Signed in as Ada"_s, u"Server: 127.0.0.1 (testing)"_s, u"couldn\u2019t load"_s,
                        u"No project yet."_s},
            QStringList{u"Sign out"_s, u"Refresh"_s, u"Create or join one\u2026"_s});
        row("a code whose page opened", false, u"https://orvane.app"_s,
            SignIn::Phase(SignIn::Waiting{u"WXYZ-1234"_s, page, true}),
            QStringList{
                u"Approve this code in your browser:"_s, u"WXYZ-1234"_s,
                u"A page on orvane.app opened. Sign in there with your email, check that it shows the "
                "same code, then click Approve. This window updates by itself."_s},
            codeButtons);
        row("a code no browser took shows the page's address to copy", false, u"https://orvane.app"_s,
            SignIn::Phase(SignIn::Waiting{u"WXYZ-1234"_s, page, false}),
            QStringList{u"Approve this code in your browser:"_s, u"WXYZ-1234"_s,
                        u"No browser opened the page"_s, page.toString()},
            codeButtons);
        row("getting a code", false, u"https://orvane.app"_s, SignIn::Phase(SignIn::Starting{}),
            QStringList{u"Getting a code\u2026"_s}, QStringList{});
        row("signed out after a denial says why in place", false, u"https://orvane.app"_s,
            SignIn::Phase(SignIn::Failed{u"The sign-in was declined in the browser."_s}),
            QStringList{
                u"Sign in with your email in the browser \u2014 no keys to paste. Your projects then show "
                "up here."_s,
                u"The sign-in was declined in the browser."_s},
            QStringList{u"Sign in to Orvane"_s});
    }
    void eachAccountStateSaysItsOwnTexts() {
        QFETCH(bool, signedIn);
        QFETCH(QString, base);
        QFETCH(SignIn::Phase, phase);
        QFETCH(QStringList, texts);
        QFETCH(QStringList, buttons);
        SettingsWindowFixture f;
        f.settings->setPlatformBase(base);
        if (signedIn) f.settings->signIn(u"k"_s, u"ada@example.com"_s, u"Ada"_s);
        if (base != u"https://orvane.app"_s)
            f.settings->setAccountError(u"couldn\u2019t load your projects"_s);
        f.open();
        f.signIn.preview(phase); // the window follows the phase by itself
        const QStringList shown = f.texts(&f.view->account());
        QCOMPARE(shown.size(), texts.size());
        for (qsizetype i = 0; i < texts.size(); ++i)
            QVERIFY2(shown[i].startsWith(texts[i]), qPrintable(shown[i]));
        QStringList shownButtons;
        for (const QAbstractButton* b : f.view->account().findChildren<QAbstractButton*>())
            shownButtons.append(b->text());
        QCOMPARE(shownButtons, buttons);
    }

    void accountButtonsDoTheirOneThing() {
        SettingsWindowFixture f;
        f.settings->signIn(u"k"_s, u"ada@example.com"_s, std::nullopt);
        f.settings->apply({u"ada@example.com"_s, std::nullopt, std::nullopt},
                          {project(u"brevik"_s, u"Brevik"_s), project(u"noctal"_s, u"Noctal"_s)});
        f.open();
        QCOMPARE(f.texts(&f.view->account()).first(), u"Signed in as ada@example.com"_s);
        f.view->account().findChild<QAbstractButton*>(u"board:noctal"_s)->click();
        QCOMPARE(f.browser.opened, QList<QUrl>{QUrl(u"https://orvane.app/app/p/noctal/#/board"_s)});
        f.button(u"Refresh"_s)->click();
        f.button(u"Sign out"_s)->click();
        QCOMPARE(f.refreshes, 1);
        QCOMPARE(f.signOuts, 1);

        f.settings->signOut();
        QVERIFY(f.button(u"Sign in to Orvane"_s)); // follows the settings without a click
        f.signIn.preview(SignIn::Waiting{u"ABCD-0042"_s, QUrl(u"https://orvane.app/app/device"_s), true});
        f.button(u"Copy"_s)->click();
        QCOMPARE(QGuiApplication::clipboard()->text(), u"ABCD-0042"_s);
        f.button(u"Open the page again"_s)->click();
        QCOMPARE(f.browser.opened.last(), QUrl(u"https://orvane.app/app/device"_s));
        const int before = f.changes;
        f.button(u"Cancel"_s)->click();
        QVERIFY(std::holds_alternative<SignIn::Idle>(f.signIn.phase()));
        QCOMPARE(f.changes, before + 1);
        QVERIFY(f.button(u"Sign in to Orvane"_s));
    }

    void withoutProjectsCreateOrJoinOpensTheStartPage() {
        SettingsWindowFixture f;
        f.settings->signIn(u"k"_s, u"ada@example.com"_s, std::nullopt);
        f.open();
        f.button(u"Create or join one\u2026"_s)->click();
        QCOMPARE(f.browser.opened, QList<QUrl>{QUrl(u"https://orvane.app/app/start"_s)});
    }

    // Each switch writes its key at once, where a new start reads it, and reports one change.
    void eachToggleWritesItsKey_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("initially");
        row("offers", "Offer to tune in when a call starts", "offerCalls", true);
        row("automatic tuning in",
            "Tune in on calls automatically (a panel always shows that it is recording)", "autoRecordCalls",
            false);
        row("live tips", "Live tips while Orvane is active (from the project, about what is on screen)",
            "liveTips", true);
        row("auto-pin", "Auto-pin slide and page changes (at most one every 2 min)", "autoPin", true);
        row("live hearing", "Show what Orvane hears while active (on this computer only, nothing stored)",
            "liveHearing", true);
        row("auto-filing",
            "File clear team calls without asking (90%+ and people from that project on the call)",
            "autoFileTeamCalls", false);
        row("the work day", "Track my work day (frontmost app, idle time skipped)", "trackWorkday", false);
        row("the end-of-day reminder", "End my day reminder at", "wrapOn", true);
        row("break reminders", "Break reminders after", "breakReminders", true);
        row("the workout reminder", "Workout reminder at", "workoutOn", true);
    }
    void eachToggleWritesItsKey() {
        QFETCH(QString, text);
        QFETCH(QString, key);
        QFETCH(bool, initially);
        SettingsWindowFixture f;
        f.open();
        OVToggle* toggle = f.toggle(text);
        QVERIFY(toggle);
        QCOMPARE(toggle->isChecked(), initially);
        QVERIFY(!f.stored(key).isValid()); // opening writes nothing
        toggle->click();
        QCOMPARE(f.stored(key).toString(), initially ? u"false"_s : u"true"_s);
        QCOMPARE(f.changes, 1);
        QCOMPARE(toggle->isChecked(), !initially);
    }

    void automaticTuningInNeedsOffersAndTitlesNeedTheWorkDay() {
        SettingsWindowFixture f(QByteArrayLiteral("[General]\nautoRecordCalls=true\n"));
        f.open();
        OVToggle* automatic =
            f.toggle(u"Tune in on calls automatically (a panel always shows that it is recording)"_s);
        QVERIFY(automatic->isEnabled());
        f.toggle(u"Offer to tune in when a call starts"_s)->click();
        QVERIFY(!automatic->isEnabled());
        QVERIFY(automatic->isChecked()); // its value is kept for when offers come back
        QCOMPARE(f.stored(u"autoRecordCalls"_s).toString(), u"true"_s);

        QVERIFY(!f.toggle(u"Include window titles"_s));
        f.toggle(u"Track my work day (frontmost app, idle time skipped)"_s)->click();
        OVToggle* titles = f.toggle(u"Include window titles"_s);
        QVERIFY(titles);
        titles->click();
        QCOMPARE(f.stored(u"includeTitles"_s).toString(), u"false"_s);
    }

    void timesAreMinutesOfTheDayBothWays_data() {
        QTest::addColumn<int>("minute");
        QTest::addColumn<QTime>("time");
        row("midnight", 0, QTime(0, 0));
        row("six in the evening", 1080, QTime(18, 0));
        row("the last minute of the day", 1439, QTime(23, 59));
    }
    void timesAreMinutesOfTheDayBothWays() {
        QFETCH(int, minute);
        QFETCH(QTime, time);
        SettingsWindowFixture shown(QByteArrayLiteral("[General]\nwrapMinute=") + QByteArray::number(minute) +
                                    '\n');
        shown.open();
        QCOMPARE(shown.view->findChildren<QTimeEdit*>().first()->time(), time);

        SettingsWindowFixture set;
        set.open();
        set.view->findChildren<QTimeEdit*>().last()->setTime(time);
        QCOMPARE(set.stored(u"workoutMinute"_s).toInt(), minute);
        QCOMPARE(set.changes, 1);
    }

    void theBreakStepperWritesItsMinutes() {
        SettingsWindowFixture f;
        f.open();
        auto* stepper = f.view->findChild<QSpinBox*>(u"breakMinutes"_s);
        QCOMPARE(stepper->value(), 50);
        stepper->stepUp();
        QCOMPARE(f.stored(u"breakMinutes"_s).toInt(), 51);
        QCOMPARE(f.changes, 1);
    }

    // A file edited by hand shows valid values and is not written until the user changes one.
    void aHandEditedFileShowsValidValuesAndStaysAsItIs_data() {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<int>("breakShown");
        QTest::addColumn<QTime>("wrapShown");
        row("no break at all", QByteArray("breakMinutes=0"), 50, QTime(18, 0));
        row("a negative break", QByteArray("breakMinutes=-5"), 50, QTime(18, 0));
        row("a break in words", QByteArray("breakMinutes=abc"), 50, QTime(18, 0));
        row("a reminder after the day's end", QByteArray("wrapMinute=2000"), 50, QTime(18, 0));
        row("a reminder before the day", QByteArray("wrapMinute=-1"), 50, QTime(18, 0));
    }
    void aHandEditedFileShowsValidValuesAndStaysAsItIs() {
        QFETCH(QByteArray, line);
        QFETCH(int, breakShown);
        QFETCH(QTime, wrapShown);
        SettingsWindowFixture f("[General]\n" + line +
                                "\nworkspaces=\"[{\\\"id\\\":\\\"8a4c1d6e-0000-4000-8000-"
                                "000000000001\\\",\\\"name\\\":\\\"\\\",\\\"server\\\":\\\"ftp://"
                                "x\\\"}]\"\n");
        const QByteArray before = f.fileText();
        f.open();
        QCOMPARE(f.view->findChild<QSpinBox*>(u"breakMinutes"_s)->value(), breakShown);
        QCOMPARE(f.view->findChildren<QTimeEdit*>().first()->time(), wrapShown);
        const auto* list = f.view->findChild<QListWidget*>();
        QCOMPARE(list->count(), 1);
        QCOMPARE(list->item(0)->text(), u"Untitled"_s);
        f.view->legacy()->select(f.settings->workspaces().first().id);
        QCOMPARE(f.view->findChild<QLineEdit*>(u"server"_s)->text(), u"ftp://x"_s);
        QCoreApplication::processEvents();
        QCOMPARE(f.fileText(), before);
        QCOMPARE(f.changes, 0);
    }

    void thePickerListsTheProjectsAndShowsWhereTheDayGoes_data() {
        QTest::addColumn<QString>("slug");
        QTest::addColumn<QString>("shown");
        row("no choice yet shows the first project", QString(), u"Brevik"_s);
        row("a chosen project", u"noctal"_s, u"Noctal"_s);
        row("a project that is gone shows the first project", u"gone"_s, u"Brevik"_s);
    }
    void thePickerListsTheProjectsAndShowsWhereTheDayGoes() {
        QFETCH(QString, slug);
        QFETCH(QString, shown);
        SettingsWindowFixture f;
        f.settings->signIn(u"k"_s, u"ada@example.com"_s, std::nullopt);
        f.settings->apply({u"ada@example.com"_s, std::nullopt, std::nullopt},
                          {project(u"brevik"_s, u"Brevik"_s), project(u"noctal"_s, u"Noctal"_s)});
        if (!slug.isEmpty()) f.settings->setWorkdaySlug(slug);
        f.open();
        auto* picker = f.view->findChild<QComboBox*>(u"workdaySlug"_s);
        QCOMPARE(picker->count(), 2);
        QCOMPARE(picker->currentText(), shown);
        const int other = 1 - picker->currentIndex();
        picker->setCurrentIndex(other);
        emit picker->activated(other); // as the user's choice in the list
        QCOMPARE(f.stored(u"workdaySlug"_s).toString(), picker->itemData(other).toString());
        QCOMPARE(f.changes, 1);
    }

    void theLegacyServersFoldAsTheAccountWants_data() {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<bool>("withProjects");
        QTest::addColumn<int>("state"); // -1 absent, 0 folded, 1 open
        row("turned off, the section is absent", QByteArray("[General]\nlegacyServers=false\n"), false, -1);
        row("legacy servers and no projects open it", QByteArray(), false, 1);
        row("an account with projects keeps it folded", QByteArray(), true, 0);
        row("no legacy server keeps it folded", QByteArray("[General]\nworkspaces=\"[]\"\n"), false, 0);
    }
    void theLegacyServersFoldAsTheAccountWants() {
        QFETCH(QByteArray, file);
        QFETCH(bool, withProjects);
        QFETCH(int, state);
        SettingsWindowFixture f(file);
        if (withProjects) {
            f.settings->signIn(u"k"_s, u"ada@example.com"_s, std::nullopt);
            f.settings->apply({u"ada@example.com"_s, std::nullopt, std::nullopt},
                              {project(u"brevik"_s, u"Brevik"_s)});
        }
        f.open();
        LegacySection* legacy = f.view->legacy();
        QCOMPARE(legacy ? int(legacy->isOpen()) : -1, state);
        if (legacy && !legacy->isOpen()) {
            QVERIFY(!f.view->findChild<QListWidget*>()->isVisibleTo(f.view.get()));
            f.button(u"\u25b8 Advanced: legacy servers"_s)->click();
            QVERIFY(legacy->isOpen());
        }
    }

    // A key goes to the secret store once, trimmed, when its field is done with; it never shows for another
    // server and never reaches the settings file.
    void aKeyIsStoredOnceForItsOwnServer() {
        SettingsWindowFixture f;
        f.open();
        const Workspace first = f.settings->workspaces().at(0);
        const Workspace second = f.settings->workspaces().at(1);
        auto* list = f.view->findChild<QListWidget*>();
        list->setCurrentRow(0);
        auto* key = f.view->findChild<QLineEdit*>(u"key"_s);
        QCOMPARE(key->echoMode(), QLineEdit::Password);
        QTest::keyClicks(key, u"  legacy-key "_s);
        key->insert(u"\n"_s);
        const int writesBefore = f.secrets.puts();
        QCoreApplication::processEvents();
        QCOMPARE(f.secrets.puts(), writesBefore); // nothing per keystroke

        emit key->editingFinished();
        emit key->editingFinished(); // Return, then leaving the field
        list->setCurrentRow(1);
        QCOMPARE(key->text(), QString());
        QTRY_COMPARE(f.secrets.item(u"svc"_s, keyAccount(first)).value_or(MemorySecretStore::Item{}).secret,
                     QByteArray("legacy-key"));
        QCOMPARE(f.secrets.puts(), writesBefore + 1);
        QVERIFY(!f.secrets.item(u"svc"_s, keyAccount(second)));

        QTest::keyClicks(key, u"second-key"_s);
        f.view.reset(); // closing the window keeps what was typed
        QTRY_VERIFY(f.secrets.item(u"svc"_s, keyAccount(second)).has_value());
        QCOMPARE(f.secrets.puts(), writesBefore + 2);
        QVERIFY(!f.fileText().contains("legacy-key"));
        QVERIFY(!f.fileText().contains("second-key"));
    }

    void serversAreAddedNamedAndRemoved() {
        SettingsWindowFixture f;
        f.open();
        auto* list = f.view->findChild<QListWidget*>();
        QCOMPARE(f.texts(f.view->legacy()).contains(u"Select a server"_s), true);
        f.view->findChild<QAbstractButton*>(u"add"_s)->click();
        QCOMPARE(list->count(), 3);
        QCOMPARE(list->currentItem()->text(), u"New workspace"_s);
        auto* server = f.view->findChild<QLineEdit*>(u"server"_s);
        QCOMPARE(server->text(), u"https://"_s);
        server->setText(u"https://legacy.example "_s);
        emit server->editingFinished();
        auto* name = f.view->findChild<QLineEdit*>(u"name"_s);
        name->setText(QString());
        emit name->editingFinished();
        QCOMPARE(list->currentItem()->text(), u"Untitled"_s);
        QCOMPARE(f.settings->workspaces().last().server, u"https://legacy.example"_s);
        QVERIFY(f.stored(u"workspaces"_s).toString().contains(u"https://legacy.example"_s));

        f.view->findChild<QAbstractButton*>(u"remove"_s)->click();
        QCOMPARE(list->count(), 2);
        QCOMPARE(f.settings->workspaces().size(), 2);
        QVERIFY(f.texts(f.view->legacy()).contains(u"Select a server"_s));
        QCOMPARE(f.changes, 4);
    }
};

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen"); // widgets without a screen
    QApplication app(argc, argv);
    TestSettingsView test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_settings_view.moc"
