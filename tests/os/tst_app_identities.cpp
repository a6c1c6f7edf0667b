#include "os/linux/AppIdentities.h"
#include "support/Rows.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using testsupport::row;

// The application identity of a process, on a made-up /proc and applications folder.
class TestAppIdentities : public QObject {
    Q_OBJECT
    QTemporaryDir m_root;

    QString path(const QString& relative) const { return m_root.filePath(relative); }
    void write(const QString& relative, const QByteArray& text) {
        QDir().mkpath(QFileInfo(path(relative)).absolutePath());
        QFile file(path(relative));
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(text);
    }
    // A process as /proc shows it: its executable, its control group and its start time (field 22 of stat).
    void process(int pid, const QString& executable, const QByteArray& cgroup, int started = 100) {
        write(u"proc/%1/cgroup"_s.arg(pid), cgroup);
        write(u"proc/%1/stat"_s.arg(pid), QByteArray::number(pid) + " (a (b) c) S" +
                                              QByteArray(" 0").repeated(18) + ' ' +
                                              QByteArray::number(started) + " 0 0\n");
        QFile::remove(path(u"proc/%1/exe"_s.arg(pid)));
        QFile::link(executable, path(u"proc/%1/exe"_s.arg(pid)));
    }

private slots:
    void initTestCase() {
        QVERIFY(m_root.isValid());
        write("applications/us.zoom.Zoom.desktop",
              "[Desktop Entry]\nName=Zoom Workplace\nExec=/usr/bin/flatpak run x\n");
        write("applications/slack.desktop",
              "[Desktop Entry]\nName=Slack\nName[de]=Slack DE\nExec=env A=1 /usr/bin/slack %U\n"
              "[Desktop Action new]\nName=New Window\nExec=/usr/bin/other\n");
        write("applications/kde/org.kde.kwalletmanager5.desktop",
              "[Desktop Entry]\nName=KWalletManager\nExec=kwalletmanager5\nStartupWMClass=KWalletManager\n");
        write("applications/org.gnome.TextEditor.desktop",
              "[Desktop Entry]\nName=Text Editor\nExec=gnome-text-editor\n");
        write("applications/python3.11.desktop",
              "[Desktop Entry]\nName=Python (v3.11)\nExec=/usr/bin/python3.11\n");
    }

    void identifies_data() {
        QTest::addColumn<QString>("executable"); // empty: the process has gone
        QTest::addColumn<QByteArray>("cgroup");
        QTest::addColumn<QString>("windowClass");
        QTest::addColumn<QString>("binaryHint");
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("name");
        const QByteArray session("0::/user.slice/session-2.scope\n");
        row("a Flatpak by its sandbox, named by its desktop file", "/app/bin/zoom",
            QByteArray("0::/user.slice/app-flatpak-us.zoom.Zoom-4711.scope\n"), "zoom", "", "us.zoom.Zoom",
            "Zoom Workplace");
        row("the desktop file that starts the executable, unlocalised name", "/usr/bin/slack", session,
            "Slack", "", "slack", "Slack");
        row("a desktop file whose StartupWMClass is the window class", "/usr/bin/wallet-helper", session,
            "KWalletManager", "", "kde-org.kde.kwalletmanager5", "KWalletManager");
        row("a desktop file whose id is the window class", "/usr/bin/other-editor", session,
            "org.gnome.TextEditor", "", "org.gnome.TextEditor", "Text Editor");
        row("a Python program by its window class, never as Python itself", "/usr/bin/python3.11", session,
            "Orvane-demo", "", "orvane-demo", "Orvane-demo");
        row("a Python program without a window by its executable", "/usr/bin/python3.11", session, "", "",
            "python3.11", "python3.11");
        row("a Java program by its window class", "/usr/lib/jvm/java-17-openjdk-amd64/bin/java", session,
            "CallWindow", "", "callwindow", "CallWindow");
        row("else the window class, in lower case", "/opt/google/chrome/chrome", session, "Google-chrome", "",
            "google-chrome", "Google-chrome");
        row("else the executable", "/usr/bin/obscure-tool", session, "", "", "obscure-tool", "obscure-tool");
        row("a process that has gone, by the name reported for it", "", session, "", "/usr/bin/slack",
            "slack", "Slack");
    }
    void identifies() {
        QFETCH(QString, executable);
        QFETCH(QByteArray, cgroup);
        QFETCH(QString, windowClass);
        QFETCH(QString, binaryHint);
        QFETCH(QString, id);
        QFETCH(QString, name);
        static int nextPid = 40;
        const int pid = executable.isEmpty() ? 99 : ++nextPid;
        if (pid != 99) process(pid, executable, cgroup);
        os::AppIdentities identities({path("applications")}, path("proc"));
        QCOMPARE(identities.identify(pid, windowClass, binaryHint), (os::AppIdentity{id, name}));
    }

    void aReusedPidIsANewProgram() {
        process(30, u"/usr/bin/slack"_s, {}, 100);
        os::AppIdentities identities({path("applications")}, path("proc"));
        QCOMPARE(identities.identify(30, {}).id, u"slack"_s);
        process(30, u"/usr/bin/obscure-tool"_s, {}, 200);
        QCOMPARE(identities.identify(30, {}).id, u"obscure-tool"_s);
    }
};

QTEST_GUILESS_MAIN(TestAppIdentities)
#include "tst_app_identities.moc"
