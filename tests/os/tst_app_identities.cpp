#include "os/linux/AppIdentities.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

// The application identity of a process, on a made-up /proc and applications folder.
class TestAppIdentities : public QObject {
    Q_OBJECT
    QTemporaryDir m_root;

    QString apps() const { return m_root.filePath(QStringLiteral("applications")); }
    QString proc() const { return m_root.filePath(QStringLiteral("proc")); }
    void write(const QString& path, const QByteArray& text) {
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text);
    }
    void process(int pid, const QString& executable, const QByteArray& cgroup = "0::/user.slice/session-2.scope\n") {
        write(QStringLiteral("%1/%2/cgroup").arg(proc()).arg(pid), cgroup);
        QFile::link(executable, QStringLiteral("%1/%2/exe").arg(proc()).arg(pid));
    }

private slots:
    void initTestCase() {
        QVERIFY(m_root.isValid());
        write(apps() + QStringLiteral("/us.zoom.Zoom.desktop"),
              "[Desktop Entry]\nName=Zoom Workplace\nExec=/usr/bin/flatpak run us.zoom.Zoom\n");
        write(apps() + QStringLiteral("/slack.desktop"),
              "[Desktop Entry]\nName=Slack\nName[de]=Slack DE\nExec=env BAMF=1 /usr/bin/slack %U\n"
              "[Desktop Action new]\nName=New Window\nExec=/usr/bin/other\n");
        write(apps() + QStringLiteral("/kde/org.kde.kwalletmanager5.desktop"),
              "[Desktop Entry]\nName=KWalletManager\nExec=kwalletmanager5\nStartupWMClass=KWalletManager\n");
        process(10, QStringLiteral("/app/bin/zoom"), "0::/user.slice/app-flatpak-us.zoom.Zoom-4711.scope\n");
        process(11, QStringLiteral("/usr/bin/slack"));
        process(12, QStringLiteral("/opt/google/chrome/chrome"));
        process(13, QStringLiteral("/usr/bin/obscure-tool"));
        process(14, QStringLiteral("/usr/bin/wallet-helper"));
    }

    void identifies_data() {
        QTest::addColumn<int>("pid");
        QTest::addColumn<QString>("windowClass");
        QTest::addColumn<QString>("binaryHint");
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("name");
        QTest::newRow("a Flatpak by its sandbox, named by its desktop file")
            << 10 << "zoom" << "" << "us.zoom.Zoom" << "Zoom Workplace";
        QTest::newRow("the desktop file that starts the executable, unlocalised name")
            << 11 << "Slack" << "" << "slack" << "Slack";
        QTest::newRow("else the window class, in lower case") << 12 << "Google-chrome" << "" << "google-chrome"
                                                              << "Google-chrome";
        QTest::newRow("a desktop file that names the window class") << 14 << "KWalletManager" << ""
                                                                    << "kde-org.kde.kwalletmanager5" << "KWalletManager";
        QTest::newRow("else the executable") << 13 << "" << "" << "obscure-tool" << "obscure-tool";
        QTest::newRow("a process that has gone, by the name reported for it")
            << 99 << "" << "/usr/bin/slack" << "slack" << "Slack";
    }
    void identifies() {
        QFETCH(int, pid);
        QFETCH(QString, windowClass);
        QFETCH(QString, binaryHint);
        QFETCH(QString, id);
        QFETCH(QString, name);
        os::AppIdentities identities({apps()}, proc());
        const os::AppIdentity app = identities.identify(pid, windowClass, binaryHint);
        QCOMPARE(app.id, id);
        QCOMPARE(app.name, name);
    }
};

QTEST_GUILESS_MAIN(TestAppIdentities)
#include "tst_app_identities.moc"
