#include "RequiredServices.h"
#include "os/linux/SettingsCommand.h"
#include "os/linux/X11PulseCapturePermission.h"
#include "support/PrivateXServer.h"
#include "support/Rows.h"

#include <QLocalServer>
#include <QProcess>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

using Mic = os::CapturePermission::Mic;
using Pane = os::CapturePermission::Pane;
using testsupport::row;

Q_DECLARE_METATYPE(std::optional<os::SettingsCommand>)

namespace {

QString pactl(const QStringList& arguments) {
    QProcess process;
    process.start(QStringLiteral("pactl"), arguments);
    process.waitForFinished();
    return QString::fromUtf8(process.readAllStandardOutput());
}

// The sound server for one case; all of it is undone afterwards.
enum class Sound { asStarted, micUnloaded, monitorChosen, serverGone, serverSilent };

} // namespace

// Against the test environment's PulseAudio daemon, whose default source "orvane_mic" is a microphone made by
// module-remap-source, and X servers of the test's own.
class TestCapturePermission : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { REQUIRE_SERVICE(!pactl({QStringLiteral("info")}).isEmpty(), "PulseAudio"); }

    void theMicrophoneIsAllowedOnlyWhenTheDefaultSourceIsOne_data() {
        QTest::addColumn<Sound>("sound");
        QTest::addColumn<Mic>("expected");
        row("a microphone as the default source is allowed", Sound::asStarted, Mic::allowed);
        row("with the microphone's module unloaded only monitors are left", Sound::micUnloaded, Mic::none);
        row("a microphone that is not the default source records nothing", Sound::monitorChosen, Mic::none);
        row("no sound server at the address", Sound::serverGone, Mic::none);
        row("a sound server that accepts and never answers", Sound::serverSilent, Mic::none);
    }
    void theMicrophoneIsAllowedOnlyWhenTheDefaultSourceIsOne() {
        QFETCH(Sound, sound);
        QFETCH(Mic, expected);
        // It keeps its connection from before the change, which must answer for the server as it is now.
        os::X11PulseCapturePermission permission{QString(), QString()};
        QCOMPARE(permission.micStatus(), Mic::allowed);

        const QByteArray server = qgetenv("PULSE_SERVER");
        const auto restore = [&] {
            qputenv("PULSE_SERVER", server);
            if (server.isEmpty()) qunsetenv("PULSE_SERVER");
            if (!pactl({"list", "short", "sources"}).contains(QLatin1String("orvane_mic\t")))
                pactl({"load-module", "module-remap-source", "master=orvane_mic_in.monitor",
                       "source_name=orvane_mic", "source_properties=device.description=Microphone"});
            pactl({"set-default-source", "orvane_mic"});
        };
        const auto restoreOnFailure = qScopeGuard(restore);
        QTemporaryDir dir;
        QLocalServer silent; // connections wait in its backlog, never read
        if (sound == Sound::micUnloaded) {
            for (const QString& module : pactl({"list", "short", "modules"}).split('\n'))
                if (module.contains(QLatin1String("source_name=orvane_mic ")))
                    pactl({"unload-module", module.section('\t', 0, 0)});
        } else if (sound == Sound::monitorChosen) {
            pactl({"set-default-source", "orvane_speaker.monitor"});
        } else if (sound == Sound::serverGone) {
            qputenv("PULSE_SERVER", "unix:" + dir.filePath(QStringLiteral("none")).toUtf8());
        } else if (sound == Sound::serverSilent) {
            QVERIFY(silent.listen(dir.filePath(QStringLiteral("silent"))));
            qputenv("PULSE_SERVER", "unix:" + silent.fullServerName().toUtf8());
        }
        // The server's address is read when a connection is made: those cases connect afresh.
        std::optional<os::X11PulseCapturePermission> fresh;
        os::X11PulseCapturePermission& asked = sound == Sound::serverGone || sound == Sound::serverSilent
                                                   ? fresh.emplace(QString(), QString())
                                                   : permission;
        QCOMPARE(asked.micStatus(), expected);

        std::optional<bool> granted;
        asked.requestMic([&granted](bool answer) { granted = answer; });
        QCOMPARE(granted, std::nullopt);
        QTRY_COMPARE_WITH_TIMEOUT(granted, std::optional(expected == Mic::allowed), 5000);

        restore();
        QCOMPARE(permission.micStatus(), Mic::allowed);
    }

    void theScreenIsThereWhileTheDisplayAnswers() {
        PrivateXServer x;
        QVERIFY(x.start());
        os::X11PulseCapturePermission permission(x.display(), QString());
        QVERIFY(permission.screenPreflight());
        x.kill();
        QVERIFY(!permission.screenPreflight());
        QVERIFY(!os::X11PulseCapturePermission(x.display(), QString()).screenPreflight());
        QVERIFY(!permission.canOpenSettings(Pane::screen));
    }

    void theSoundSettingsAreTheDesktopsOwn_data() {
        QTest::addColumn<QString>("desktop");
        QTest::addColumn<QStringList>("installed");
        QTest::addColumn<std::optional<os::SettingsCommand>>("expected");
        const QStringList all{"gnome-control-center", "systemsettings", "pavucontrol"};
        const auto command = [](const char* program, const char* argument) {
            return std::optional(os::SettingsCommand{program, {argument}});
        };
        row("Ubuntu's GNOME session opens GNOME's sound page", "ubuntu:GNOME", all,
            command("gnome-control-center", "sound"));
        row("KDE opens the PulseAudio module of its system settings", "KDE", all,
            command("systemsettings", "kcm_pulseaudio"));
        row("an older KDE has them under their Plasma 5 name", "KDE", QStringList{"systemsettings5"},
            command("systemsettings5", "kcm_pulseaudio"));
        row("GNOME without its control centre gets the volume control's inputs", "GNOME",
            QStringList{"pavucontrol"}, command("pavucontrol", "--tab=4"));
        row("another desktop gets the volume control", "XFCE", all, command("pavucontrol", "--tab=4"));
        row("nothing installed: nothing to open", "GNOME", QStringList{},
            std::optional<os::SettingsCommand>());
    }
    void theSoundSettingsAreTheDesktopsOwn() {
        QFETCH(QString, desktop);
        QFETCH(QStringList, installed);
        QFETCH(std::optional<os::SettingsCommand>, expected);
        QCOMPARE(os::soundSettingsCommand(desktop, [&](const QString& p) { return installed.contains(p); }),
                 expected);
    }
};

QTEST_GUILESS_MAIN(TestCapturePermission)
#include "tst_capture_permission.moc"
