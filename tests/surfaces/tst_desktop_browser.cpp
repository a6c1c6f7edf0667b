#include "support/Files.h"
#include "surfaces/DesktopBrowser.h"

#include <QDesktopServices>

// Stands in for the desktop's browser: the URL handler that QDesktopServices calls for https links.
class UrlRecorder : public QObject {
    Q_OBJECT
public:
    QList<QUrl> opened;
public slots:
    void open(const QUrl& url) { opened.append(url); }
};

// ORVANE_NO_BROWSER=1 turns opening a page into a log line; anything else opens it.
class TestDesktopBrowser : public QObject {
    Q_OBJECT
    UrlRecorder m_recorder;

private slots:
    void initTestCase() { QDesktopServices::setUrlHandler(QStringLiteral("https"), &m_recorder, "open"); }
    void cleanupTestCase() { QDesktopServices::unsetUrlHandler(QStringLiteral("https")); }

    void opensUnlessTold_data() {
        QTest::addColumn<DesktopBrowser::Mode>("mode");
        QTest::addColumn<bool>("opens");
        QTest::newRow("a plain run opens the page") << DesktopBrowser::Mode::open << true;
        QTest::newRow("a scripted run only logs it") << DesktopBrowser::Mode::logOnly << false;
    }
    void opensUnlessTold() {
        QFETCH(DesktopBrowser::Mode, mode);
        QFETCH(bool, opens);
        m_recorder.opened.clear();
        const testsupport::LogWatch log;
        const QUrl page(QStringLiteral("https://orvane.app/app/r/c%3A7"));
        QCOMPARE(DesktopBrowser(mode).open(page), opens);
        QCOMPARE(m_recorder.opened, opens ? QList<QUrl>{page} : QList<QUrl>{});
        QCOMPARE(log.text().contains(QLatin1String("open https://orvane.app/app/r/c%3A7")), !opens);
    }
};

QTEST_GUILESS_MAIN(TestDesktopBrowser)
#include "tst_desktop_browser.moc"
