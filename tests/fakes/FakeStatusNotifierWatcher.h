#pragma once

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QImage>
#include <QObject>
#include <QPoint>
#include <QProcess>
#include <QStringList>
#include <QTest>

// A desktop panel's tray host on the session bus: runs the watcher program (fake_sni_watcher.cpp, path in
// ORVANE_FAKE_SNI_WATCHER) so that `stop` and `start` are a real restart, with a new owner of the name; reads
// an item's tooltip and icon as the panel would, clicks it, and counts its NewToolTip signals.
// The items live in this test's own process, so every call waits with the event loop running.
class FakeStatusNotifierWatcher : public QObject {
    Q_OBJECT
public:
    ~FakeStatusNotifierWatcher() override { stop(); }

    bool start() {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(ORVANE_FAKE_SNI_WATCHER), {});
        while (m_process.state() != QProcess::NotRunning && !m_process.canReadLine())
            m_process.waitForReadyRead(5000);
        return m_process.readLine().trimmed() == "ready";
    }
    // Ends the watcher as a crash would, and waits until the bus has taken its name back.
    void stop() {
        if (m_process.state() == QProcess::NotRunning) return;
        m_process.kill();
        m_process.waitForFinished();
        const bool released = QTest::qWaitFor(
            [] {
                return !QDBusConnection::sessionBus().interface()->isServiceRegistered(
                    QStringLiteral("org.kde.StatusNotifierWatcher"));
            },
            5000);
        if (!released) qWarning("the bus kept the watcher's name after it ended");
    }

    QStringList items() {
        const QVariant value = property(
            QStringLiteral("org.kde.StatusNotifierWatcher"), QStringLiteral("/StatusNotifierWatcher"),
            QStringLiteral("org.kde.StatusNotifierWatcher"), QStringLiteral("RegisteredStatusNotifierItems"));
        return value.toStringList();
    }
    // The item of the process with this id, once it has registered with this run; empty before. From then
    // on its NewToolTip signals are counted.
    QString itemOf(qint64 pid) {
        for (const QString& item : items())
            if (QDBusConnection::sessionBus().interface()->servicePid(serviceOf(item)).value() == pid) {
                follow(item);
                return item;
            }
        return {};
    }

    // ToolTip is (icon name, icon pixmaps, title, text); a panel shows the title with the text under it.
    QString toolTip(const QString& item) {
        const QVariant value = itemProperty(item, QStringLiteral("ToolTip"));
        if (!value.canConvert<QDBusArgument>()) return {};
        const auto arg = value.value<QDBusArgument>();
        QString iconName, title, text;
        arg.beginStructure();
        arg >> iconName;
        readPixmaps(arg, 0);
        arg >> title >> text;
        arg.endStructure();
        return text.isEmpty() ? title : title + QLatin1Char('\n') + text;
    }
    // The item's icon of this size in pixels; null when it has none.
    QImage icon(const QString& item, int size) {
        const QVariant value = itemProperty(item, QStringLiteral("IconPixmap"));
        if (!value.canConvert<QDBusArgument>()) return {};
        return readPixmaps(value.value<QDBusArgument>(), size);
    }
    // A click on the item at a point of the screen.
    void activate(const QString& item, QPoint at) {
        QDBusMessage call = QDBusMessage::createMethodCall(serviceOf(item), pathOf(item), itemInterface(),
                                                           QStringLiteral("Activate"));
        call << at.x() << at.y();
        QDBusConnection::sessionBus().call(call, QDBus::BlockWithGui, 5000);
    }

    int newToolTips = 0;

private slots:
    void countToolTip() { ++newToolTips; }

private:
    static QString itemInterface() { return QStringLiteral("org.kde.StatusNotifierItem"); }
    static QString serviceOf(const QString& item) { return item.left(item.indexOf(QLatin1Char('/'))); }
    static QString pathOf(const QString& item) { return item.mid(item.indexOf(QLatin1Char('/'))); }

    void follow(const QString& item) {
        if (m_followed.contains(item)) return;
        m_followed.append(item);
        QDBusConnection bus = QDBusConnection::sessionBus();
        bus.connect(serviceOf(item), pathOf(item), itemInterface(), QStringLiteral("NewToolTip"), this,
                    SLOT(countToolTip()));
    }

    static QVariant property(const QString& service, const QString& path, const QString& interface,
                             const QString& name) {
        QDBusMessage get = QDBusMessage::createMethodCall(
            service, path, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
        get << interface << name;
        const QDBusMessage reply = QDBusConnection::sessionBus().call(get, QDBus::BlockWithGui, 5000);
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) return {};
        return reply.arguments().constFirst().value<QDBusVariant>().variant();
    }
    static QVariant itemProperty(const QString& item, const QString& name) {
        return property(serviceOf(item), pathOf(item), itemInterface(), name);
    }

    // An array of (width, height, ARGB32 bytes in network order); the one of `size` pixels as an image.
    static QImage readPixmaps(const QDBusArgument& arg, int size) {
        QImage found;
        arg.beginArray();
        while (!arg.atEnd()) {
            int w = 0, h = 0;
            QByteArray bytes;
            arg.beginStructure();
            arg >> w >> h >> bytes;
            arg.endStructure();
            if (w != size || h != size || bytes.size() != qsizetype(w) * h * 4) continue;
            found = QImage(w, h, QImage::Format_ARGB32);
            const auto* p = reinterpret_cast<const uchar*>(bytes.constData());
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x, p += 4)
                    found.setPixel(x, y, qRgba(p[1], p[2], p[3], p[0]));
        }
        arg.endArray();
        return found;
    }

    QProcess m_process;
    QStringList m_followed;
};
