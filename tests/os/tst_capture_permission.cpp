#include "RequiredServices.h"
#include "os/linux/SettingsCommand.h"
#include "os/linux/X11PulseCapturePermission.h"
#include "support/PrivateXServer.h"
#include "support/Rows.h"

#include <QFile>
#include <QLocalServer>
#include <QProcess>
#include <QScopeGuard>
#include <QSet>
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
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

// How the test environment's microphone is put back: its module, as the default source.
void restoreMicrophone() {
    if (!pactl({QStringLiteral("list"), QStringLiteral("short"), QStringLiteral("sources")})
             .contains(QLatin1String("orvane_mic\t")))
        pactl({QStringLiteral("load-module"), QStringLiteral("module-remap-source"),
               QStringLiteral("master=orvane_mic_in.monitor"), QStringLiteral("source_name=orvane_mic"),
               QStringLiteral("source_properties=device.description=Microphone")});
    pactl({QStringLiteral("set-default-source"), QStringLiteral("orvane_mic")});
}

void unloadMicrophone() {
    const QStringList modules =
        pactl({QStringLiteral("list"), QStringLiteral("short"), QStringLiteral("modules")}).split('\n');
    for (const QString& module : modules)
        if (module.contains(QLatin1String("source_name=orvane_mic ")))
            pactl({QStringLiteral("unload-module"), module.section(QLatin1Char('\t'), 0, 0)});
}

// The sound server's state for one case, undone by `restoreMicrophone`.
enum class Sound { asStarted, micUnloaded, monitorChosen, serverGone, serverSilent };

} // namespace

// The permission against the test environment's PulseAudio daemon ("orvane_mic", a remapped source, is the
// default source) and X servers, real and of the test's own.
class TestCapturePermission : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        REQUIRE_SERVICE(!pactl({QStringLiteral("info")}).isEmpty(), "PulseAudio");
        REQUIRE_SERVICE(!qEnvironmentVariableIsEmpty("DISPLAY"), "an X server");
    }

    void theMicrophoneIsAllowedOnlyWhenTheDefaultSourceIsOne_data() {
        QTest::addColumn<Sound>("sound");
        QTest::addColumn<Mic>("expected");
        row("a microphone as the default source is allowed", Sound::asStarted, Mic::allowed);
        row("with the microphone's module unloaded only monitors are left: none", Sound::micUnloaded,
            Mic::none);
        row("a microphone that is not the default source records nothing: none", Sound::monitorChosen,
            Mic::none);
        row("no sound server at the address: none", Sound::serverGone, Mic::none);
        row("a sound server that accepts and never answers: none, at its deadline", Sound::serverSilent,
            Mic::none);
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
            restoreMicrophone();
        };
        const auto restoreOnFailure = qScopeGuard(restore);
        QTemporaryDir dir;
        QLocalServer silent;
        switch (sound) {
        case Sound::asStarted:
            break;
        case Sound::micUnloaded:
            unloadMicrophone();
            break;
        case Sound::monitorChosen:
            pactl({QStringLiteral("set-default-source"), QStringLiteral("orvane_speaker.monitor")});
            break;
        case Sound::serverGone:
            qputenv("PULSE_SERVER", "unix:" + dir.filePath(QStringLiteral("none")).toUtf8());
            break;
        case Sound::serverSilent:
            // Connections queue in the listen backlog and are never read.
            QVERIFY(silent.listen(dir.filePath(QStringLiteral("silent"))));
            qputenv("PULSE_SERVER", "unix:" + silent.fullServerName().toUtf8());
            break;
        }
        // The address of the sound server is read when a connection is made: those cases connect afresh.
        std::optional<os::X11PulseCapturePermission> fresh;
        os::X11PulseCapturePermission& asked = sound == Sound::serverGone || sound == Sound::serverSilent
                                                   ? fresh.emplace(QString(), QString())
                                                   : permission;
        QCOMPARE(asked.micStatus(), expected);

        // Asking gives the same answer, never inside the call.
        std::optional<bool> granted;
        asked.requestMic([&granted](bool answer) { granted = answer; });
        QCOMPARE(granted, std::nullopt);
        QTRY_VERIFY_WITH_TIMEOUT(granted.has_value(), 5000);
        QCOMPARE(*granted, expected == Mic::allowed);

        restore();
        QCOMPARE(permission.micStatus(), Mic::allowed);
    }

    void theScreenIsThereWhileTheDisplayAnswers() {
        PrivateXServer x;
        QVERIFY(x.start());
        os::X11PulseCapturePermission permission(x.display(), QString());
        QVERIFY(permission.screenPreflight());
        QVERIFY(permission.screenPreflight());
        x.kill();
        QVERIFY(!permission.screenPreflight());
        os::X11PulseCapturePermission nowhere(x.display(), QString());
        QVERIFY(!nowhere.screenPreflight());
        QVERIFY(!permission.canOpenSettings(Pane::screen));
    }

    void theSoundSettingsAreTheDesktopsOwn_data() {
        QTest::addColumn<QString>("desktop");
        QTest::addColumn<QStringList>("installed");
        QTest::addColumn<std::optional<os::SettingsCommand>>("expected");
        const QStringList all{QStringLiteral("gnome-control-center"), QStringLiteral("systemsettings"),
                              QStringLiteral("pavucontrol")};
        const os::SettingsCommand gnome{QStringLiteral("gnome-control-center"), {QStringLiteral("sound")}};
        const os::SettingsCommand kde{QStringLiteral("systemsettings"), {QStringLiteral("kcm_pulseaudio")}};
        const os::SettingsCommand pavucontrol{QStringLiteral("pavucontrol"), {QStringLiteral("--tab=4")}};
        using Found = std::optional<os::SettingsCommand>;
        row("GNOME opens its control centre's sound page", "GNOME", all, Found(gnome));
        row("Ubuntu names GNOME second", "ubuntu:GNOME", all, Found(gnome));
        row("KDE opens the PulseAudio module of its system settings", "KDE", all, Found(kde));
        row("an older KDE has the settings under their Plasma 5 name", "KDE",
            QStringList{QStringLiteral("systemsettings5")},
            Found(
                os::SettingsCommand{QStringLiteral("systemsettings5"), {QStringLiteral("kcm_pulseaudio")}}));
        row("GNOME without its control centre falls back to the volume control", "GNOME",
            QStringList{QStringLiteral("pavucontrol")}, Found(pavucontrol));
        row("another desktop gets the volume control's input devices", "XFCE", all, Found(pavucontrol));
        row("no desktop named, nothing installed: nothing to open", "", QStringList{}, Found());
    }
    void theSoundSettingsAreTheDesktopsOwn() {
        QFETCH(QString, desktop);
        QFETCH(QStringList, installed);
        QFETCH(std::optional<os::SettingsCommand>, expected);
        const QSet<QString> programs(installed.cbegin(), installed.cend());
        QCOMPARE(os::soundSettingsCommand(desktop, [&](const QString& p) { return programs.contains(p); }),
                 expected);
    }

    void openingTheSoundSettingsStartsTheProgram() {
        // A volume control of the test's own on the path, which writes down how it was started.
        QTemporaryDir bin;
        const QString started = bin.filePath(QStringLiteral("started"));
        QFile program(bin.filePath(QStringLiteral("pavucontrol")));
        QVERIFY(program.open(QIODevice::WriteOnly));
        program.write(QStringLiteral("#!/bin/sh\necho \"$@\" > '%1.part' && mv '%1.part' '%1'\n")
                          .arg(started)
                          .toUtf8());
        program.close();
        program.setPermissions(program.permissions() | QFileDevice::ExeOwner);
        const QByteArray path = qgetenv("PATH");
        const auto restore = qScopeGuard([&] { qputenv("PATH", path); });

        qputenv("PATH", bin.path().toUtf8() + ":/usr/bin:/bin");
        os::X11PulseCapturePermission permission(QString(), QStringLiteral("XFCE"));
        QVERIFY(permission.canOpenSettings(Pane::microphone));
        permission.openSettings(Pane::microphone);
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(started), 10000);
        QFile arguments(started);
        QVERIFY(arguments.open(QIODevice::ReadOnly));
        QCOMPARE(arguments.readAll().trimmed(), QByteArray("--tab=4"));

        qputenv("PATH", bin.filePath(QStringLiteral("empty")).toUtf8());
        QVERIFY(!permission.canOpenSettings(Pane::microphone));
    }
};

QTEST_GUILESS_MAIN(TestCapturePermission)
#include "tst_capture_permission.moc"
