#include "os/linux/PortalRequest.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCall>
#include <QDBusReply>
#include <QDBusVariant>
#include <QEventLoop>
#include <QLoggingCategory>
#include <QTimer>
#include <atomic>

Q_LOGGING_CATEGORY(lcPortal, "portal")

namespace os::portal {
namespace {

// Receives the one Response signal of a Request object.
class Answer final : public QObject {
    Q_OBJECT
public:
    Response response;
    bool arrived = false;

public slots:
    void received(uint code, const QVariantMap& results) {
        response = {code, results};
        arrived = true;
        emit done();
    }

signals:
    void done();
};

} // namespace

QString requestPath(const QDBusConnection& bus, const QString& handleToken) {
    QString sender = bus.baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    return path + QStringLiteral("/request/%1/%2").arg(sender, handleToken);
}

QString token() {
    static std::atomic<int> next{0};
    return QStringLiteral("orvane%1").arg(++next);
}

uint property(const QDBusConnection& bus, const QString& interface, const QString& name) {
    QDBusMessage get = QDBusMessage::createMethodCall(
        service, path, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get << interface << name;
    const QDBusReply<QDBusVariant> reply = bus.call(get, QDBus::Block, 3000);
    return reply.isValid() ? reply.value().variant().toUInt() : 0;
}

Response request(const QDBusConnection& bus, const QString& interface, const QString& method,
                 QVariantList arguments, QVariantMap options, std::chrono::milliseconds patience) {
    const QString handleToken = token();
    options.insert(QStringLiteral("handle_token"), handleToken);
    arguments << options;

    Answer answer;
    QDBusConnection listening = bus;
    listening.connect(service, requestPath(bus, handleToken),
                      QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"), &answer,
                      SLOT(received(uint, QVariantMap)));
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface, method);
    call.setArguments(arguments);
    const QDBusMessage reply = bus.call(call, QDBus::Block, 10000);
    Response response;
    if (reply.type() == QDBusMessage::ErrorMessage) {
        qCWarning(lcPortal) << interface << method << "failed:" << reply.errorMessage();
    } else {
        if (!answer.arrived) {
            QEventLoop loop;
            QObject::connect(&answer, &Answer::done, &loop, &QEventLoop::quit);
            QTimer::singleShot(patience, &loop, &QEventLoop::quit);
            loop.exec();
        }
        if (answer.arrived)
            response = answer.response;
        else
            qCWarning(lcPortal) << interface << method << "gave no answer in" << patience.count() << "ms";
    }
    listening.disconnect(service, requestPath(bus, handleToken),
                         QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"),
                         &answer, SLOT(received(uint, QVariantMap)));
    return response;
}

} // namespace os::portal

#include "PortalRequest.moc"
