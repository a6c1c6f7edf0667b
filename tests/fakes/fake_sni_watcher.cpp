// A desktop panel's StatusNotifierWatcher, as a process of its own so that a test can kill and restart it:
// owns org.kde.StatusNotifierWatcher on the session bus, says a host is there, lists the items that register,
// and reads an item's icon or tooltip each time it says they changed, as a panel does. Prints "ready" once it
// owns the name.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QStringList>
#include <cstdio>

class Watcher : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hostRegistered)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)
public:
    QStringList items() const { return m_items; }
    bool hostRegistered() const { return true; }
    int protocolVersion() const { return 0; }

public slots:
    // The argument is the item's service name, or its object path on the caller's connection.
    Q_SCRIPTABLE void RegisterStatusNotifierItem(const QString& serviceOrPath) {
        const bool isPath = serviceOrPath.startsWith(QLatin1Char('/'));
        const QString item = isPath ? message().service() + serviceOrPath
                                    : serviceOrPath + QStringLiteral("/StatusNotifierItem");
        if (!m_items.contains(item)) m_items.append(item);
        const QString service = item.left(item.indexOf(QLatin1Char('/')));
        const QString path = item.mid(service.size());
        QDBusConnection bus = QDBusConnection::sessionBus();
        bus.connect(service, path, itemInterface(), QStringLiteral("NewIcon"), this, SLOT(readIcon()));
        bus.connect(service, path, itemInterface(), QStringLiteral("NewToolTip"), this, SLOT(readToolTip()));
        emit StatusNotifierItemRegistered(item);
    }
    Q_SCRIPTABLE void RegisterStatusNotifierHost(const QString&) {}

signals:
    Q_SCRIPTABLE void StatusNotifierItemRegistered(const QString& item);
    Q_SCRIPTABLE void StatusNotifierHostRegistered();

private slots:
    void readIcon() { read(QStringLiteral("IconPixmap")); }
    void readToolTip() { read(QStringLiteral("ToolTip")); }

private:
    static QString itemInterface() { return QStringLiteral("org.kde.StatusNotifierItem"); }
    // The property of the item whose signal is being delivered; the answer is only traffic here.
    void read(const QString& name) {
        QDBusMessage get = QDBusMessage::createMethodCall(message().service(), message().path(),
                                                          QStringLiteral("org.freedesktop.DBus.Properties"),
                                                          QStringLiteral("Get"));
        get << itemInterface() << name;
        QDBusConnection::sessionBus().asyncCall(get);
    }

    QStringList m_items;
};

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    Watcher watcher;
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.registerObject(QStringLiteral("/StatusNotifierWatcher"), &watcher,
                            QDBusConnection::ExportScriptableContents |
                                QDBusConnection::ExportAllProperties) ||
        !bus.registerService(QStringLiteral("org.kde.StatusNotifierWatcher"))) {
        std::fputs("the watcher's name is taken\n", stderr);
        return 1;
    }
    std::puts("ready");
    std::fflush(stdout);
    return app.exec();
}

#include "fake_sni_watcher.moc"
