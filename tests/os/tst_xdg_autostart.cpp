#include "os/linux/XdgAutostart.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class TestXdgAutostart : public QObject {
    Q_OBJECT
private slots:
    void execQuoted_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("exec");
        QTest::newRow("plain") << u"/usr/bin/orvane"_s << u"/usr/bin/orvane"_s;
        QTest::newRow("a blank") << u"/home/ada/my apps/orvane"_s << u"\"/home/ada/my apps/orvane\""_s;
        QTest::newRow("reserved characters")
            << u"/opt/$x\"`/orvane"_s << u"\"/opt/\\\\$x\\\\\"\\\\`/orvane\""_s;
        QTest::newRow("a backslash") << u"/opt/a\\b"_s << u"\"/opt/a\\\\\\\\b\""_s;
    }
    void execQuoted() {
        QFETCH(QString, path);
        QFETCH(QString, exec);
        QCOMPARE(os::XdgAutostart::execQuoted(path), exec);
    }

    // On writes the entry that starts this executable, off removes it; what the file says is the truth.
    void theEntryFollowsTheToggle() {
        QTemporaryDir home;
        os::XdgAutostart start(home.filePath(u"config/autostart"_s), u"/usr/bin/orvane"_s);
        QVERIFY(!start.enabled());
        QCOMPARE(start.setEnabled(false), std::nullopt); // nothing to remove
        QCOMPARE(start.setEnabled(true), std::nullopt);
        QVERIFY(start.enabled());
        QFile entry(start.entryPath());
        QVERIFY(entry.open(QIODevice::ReadOnly));
        const QByteArray text = entry.readAll();
        QVERIFY(text.startsWith("[Desktop Entry]\n"));
        QVERIFY(text.contains("\nExec=/usr/bin/orvane\n"));
        entry.close();
        QCOMPARE(start.setEnabled(false), std::nullopt);
        QVERIFY(!QFile::exists(start.entryPath()));

        // Another tool (the desktop's own startup settings) may hide the entry instead of removing it.
        QVERIFY(entry.open(QIODevice::WriteOnly));
        entry.write("[Desktop Entry]\nType=Application\nExec=orvane\nHidden=true\n");
        entry.close();
        QVERIFY(!start.enabled());
        QCOMPARE(start.setEnabled(true), std::nullopt);
        QVERIFY(start.enabled());
    }

    // A folder that cannot be made (its parent is a file: this holds for root too) gives words, not a crash.
    void anUnwritableFolderSaysWhy() {
        QTemporaryDir home;
        QFile blocker(home.filePath(u"config"_s));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        os::XdgAutostart start(home.filePath(u"config/autostart"_s), u"/usr/bin/orvane"_s);
        const std::optional<QString> error = start.setEnabled(true);
        QVERIFY(error);
        QVERIFY2(error->startsWith(u"Couldn\u2019t make the folder "_s), qPrintable(*error));
        QVERIFY(!start.enabled());
    }
};

QTEST_GUILESS_MAIN(TestXdgAutostart)
#include "tst_xdg_autostart.moc"
