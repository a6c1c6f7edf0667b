#include "app/FirstRun.h"
#include "core/Keychain.h"
#include "fakes/MemorySecretStore.h"
#include "fakes/RecordingNudgeDisplay.h"
#include "server/Settings.h"
#include "support/Rows.h"
#include "surfaces/Nudges.h"
#include "surfaces/WindowBox.h"

#include <QApplication>
#include <QNetworkAccessManager>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using testsupport::row;

// What a new user is told once, over starts that share one settings file: the hints of a desktop without a
// tray or without global keys.
class TestFirstRun : public QObject {
    Q_OBJECT

private slots:
    void eachHintShowsOnceAcrossStarts_data() {
        QTest::addColumn<bool>("tray");
        QTest::addColumn<bool>("keysToBind");
        QTest::addColumn<QStringList>(
            "titles"); // a part of the title of the nudge each start shows; "": none
        const QString trayHint = u"top bar"_s, keysHint = u"keys need your desktop"_s;
        row("a desktop with a tray and keys says nothing", true, false, QStringList{u""_s, u""_s});
        row("keys to bind are told once", true, true, QStringList{keysHint, u""_s, u""_s});
        row("without a tray either, the keys come at the next start", false, true,
            QStringList{trayHint, keysHint, u""_s});
    }
    void eachHintShowsOnceAcrossStarts() {
        QFETCH(bool, tray);
        QFETCH(bool, keysToBind);
        QFETCH(QStringList, titles);
        QTemporaryDir dir;
        for (const QString& part : titles) {
            MemorySecretStore secrets;
            Keychain keychain(secrets, u"svc"_s);
            QSettings store(dir.filePath(u"orvane.conf"_s), QSettings::IniFormat);
            const auto network = API::makeNetwork();
            Settings settings(store, keychain, *network);
            auto display = std::make_unique<RecordingNudgeDisplay>();
            RecordingNudgeDisplay& shown = *display;
            Nudges nudges(std::move(display));
            WindowBox windows;
            FirstRun firstRun({settings, nudges, windows, [tray] { return tray; }, [] {},
                               [keysToBind] { return keysToBind; }});
            QSignalSpy settingsWanted(&firstRun, &FirstRun::settingsWanted);
            firstRun.launched(false);
            QVERIFY(shown.shown.size() <= 1);
            const QString title = shown.shown.empty() ? QString() : shown.last().title;
            QVERIFY2(part.isEmpty() ? title.isEmpty() : title.contains(part), qPrintable(title));
            // The tray's hint speaks of the keys only where they work.
            if (title.contains(u"top bar"_s))
                QCOMPARE(shown.last().message->contains(u"Ctrl+Alt+R"_s), !keysToBind);
            if (title.contains(u"keys need your desktop"_s)) {
                // Its button opens the settings, where the commands are.
                for (const NudgeButton& button : shown.last().buttons)
                    if (button.title == u"Open Settings"_s) button.action();
                QCOMPARE(settingsWanted.size(), 1);
            }
        }
    }
};

QTEST_MAIN(TestFirstRun)
#include "tst_first_run.moc"
