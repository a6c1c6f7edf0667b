#include "RequiredServices.h"
#include "fakes/FakeStatusNotifierWatcher.h"
#include "support/Rows.h"
#include "surfaces/StatusIcon.h"
#include "surfaces/StatusItem.h"

#include <QApplication>
#include <QSignalSpy>
#include <QTest>

using testsupport::row;
using Phase = StatusItem::Phase;

// The tray icon as a desktop panel sees it over D-Bus: a watcher that comes up after the program, the tooltip
// and the mark through a recording, a click, and the panel restarting.
class TestStatusItem : public QObject {
    Q_OBJECT

    FakeStatusNotifierWatcher m_watcher;
    std::unique_ptr<StatusItem> m_item;
    QString m_path; // the item's service and path, as the watcher lists it

    QString ourItem() { return m_watcher.itemOf(QCoreApplication::applicationPid()); }
    static QImage mark(bool recording, bool dot) {
        return StatusIcon::slash(22, recording, dot, false).convertToFormat(QImage::Format_ARGB32);
    }

private slots:
    // Qt picks the kind of tray at its first icon, so this runs first: a panel that starts after the program.
    void aPanelThatStartsLaterGetsTheIcon() {
        REQUIRE_SERVICE(QDBusConnection::sessionBus().isConnected(), "The session bus");
        QApplication::setPalette(QPalette(QColor(0xef, 0xef, 0xef))); // a light desktop
        m_item = std::make_unique<StatusItem>(StatusItem::Needs{[] { return false; }});
        QVERIFY(!m_item->hostAvailable());
        QSignalSpy host(m_item.get(), &StatusItem::hostChanged);
        QVERIFY(m_watcher.start());
        QVERIFY(host.wait(5000));
        QCOMPARE(host.last().at(0).toBool(), true);
        QTRY_VERIFY_WITH_TIMEOUT(!(m_path = ourItem()).isEmpty(), 5000);
        QCOMPARE(m_watcher.toolTip(m_path), QStringLiteral("Orvane"));
    }

    // Each row goes on from the one before, as one recording does; a look given twice changes nothing more.
    void throughARecording_data() {
        QTest::addColumn<int>("phase");
        QTest::addColumn<double>("elapsed");
        QTest::addColumn<QString>("upload");
        QTest::addColumn<QString>("toolTip");
        QTest::addColumn<int>("toolTipChanges"); // NewToolTip signals so far
        const QString recording = QStringLiteral(
            " \u00b7 Orvane active \u2014 recording screen & audio \u00b7 Ctrl+Alt+R to wrap up");
        const QString sending = QStringLiteral("Sending \u201cStand-up\u201d\u2026");
        row("idle with nothing to say is the name alone", int(Phase::idle), 0.0, QString(),
            QStringLiteral("Orvane"), 0);
        row("an upload shows its line under the name", int(Phase::idle), 0.0, sending,
            QStringLiteral("Orvane\n") + sending, 1);
        row("starting is the name and an ellipsis", int(Phase::busy), 0.0, sending,
            QStringLiteral("Orvane \u2026"), 2);
        row("recording shows the clock", int(Phase::recording), 0.4, QString(),
            QStringLiteral("0:00") + recording, 3);
        row("a tick within the same second sends nothing", int(Phase::recording), 0.9, QString(),
            QStringLiteral("0:00") + recording, 3);
        row("an hour in, the clock has hours", int(Phase::recording), 3605.2, QString(),
            QStringLiteral("1:00:05") + recording, 4);
        row("saving is the ellipsis again", int(Phase::busy), 3606.0, QString(),
            QStringLiteral("Orvane \u2026"), 5);
        row("back to idle is the name", int(Phase::idle), 0.0, QString(), QStringLiteral("Orvane"), 6);
    }
    void throughARecording() {
        QFETCH(int, phase);
        QFETCH(double, elapsed);
        QFETCH(QString, upload);
        QFETCH(QString, toolTip);
        QFETCH(int, toolTipChanges);
        QVERIFY(m_item && !m_path.isEmpty());
        const StatusItem::Look look{Phase(phase), elapsed, upload};
        m_item->update(look);
        m_item->update(look);
        // The read is answered after every signal the updates sent, so the count is complete once it returns.
        QCOMPARE(m_watcher.toolTip(m_path), toolTip);
        QCoreApplication::sendPostedEvents();
        QCOMPARE(m_watcher.newToolTips, toolTipChanges);

        if (Phase(phase) != Phase::recording) {
            QCOMPARE(m_watcher.icon(m_path, 22), mark(false, false));
            QVERIFY(!m_item->blinking()); // nothing left that could change the mark
            return;
        }
        bool plain = false, dotted = false;
        QTRY_VERIFY_WITH_TIMEOUT(
            [&] {
                const QImage seen = m_watcher.icon(m_path, 22);
                plain |= seen == mark(true, false);
                dotted |= seen == mark(true, true);
                return (plain && dotted) || (seen != mark(true, false) && seen != mark(true, true));
            }(),
            5000);
        QVERIFY2(plain && dotted, "the mark shows something other than the recording's two states");
    }

    void aClickReachesTheOwnerWithoutAnIconRectangle() {
        QVERIFY(m_item && !m_path.isEmpty());
        QSignalSpy activated(m_item.get(), &StatusItem::activated);
        m_watcher.activate(m_path, QPoint(1890, 12));
        QTRY_COMPARE(activated.size(), 1);
        // A StatusNotifierItem host says where it was clicked, not where the icon is.
        QCOMPARE(activated.first().at(0).value<TrayAnchor>().icon, std::nullopt);
    }

    void aLightOrDarkDesktopRedrawsTheMark() {
        QVERIFY(m_item && !m_path.isEmpty());
        const QPalette light = QApplication::palette();
        QApplication::setPalette(QPalette(QColor(0x2b, 0x2b, 0x2b)));
        const QImage dark = StatusIcon::slash(22, false, false, true).convertToFormat(QImage::Format_ARGB32);
        QTRY_COMPARE(m_watcher.icon(m_path, 22), dark);
        QApplication::setPalette(light);
        QTRY_COMPARE(m_watcher.icon(m_path, 22), mark(false, false));
    }

    void aPanelRestartGetsTheIconAgain() {
        QVERIFY(m_item && !m_path.isEmpty());
        m_item->update({Phase::busy, 0, QString()});
        QSignalSpy host(m_item.get(), &StatusItem::hostChanged);
        m_watcher.stop();
        QTRY_COMPARE(host.size(), 1);
        QCOMPARE(host.last().at(0).toBool(), false);
        QVERIFY(m_watcher.start());
        QTRY_COMPARE(host.size(), 2);
        QCOMPARE(host.last().at(0).toBool(), true);
        QTRY_VERIFY_WITH_TIMEOUT(!(m_path = ourItem()).isEmpty(), 5000);
        QCOMPARE(m_watcher.toolTip(m_path), QStringLiteral("Orvane \u2026"));
    }
};

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    TestStatusItem test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_status_item.moc"
