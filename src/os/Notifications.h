#pragma once

#include <QObject>
#include <QString>
#include <QVariantMap>

namespace os {

// One message for the desktop's notification centre.
struct Notification {
    QString id; // the app's own identifier: posting the same id again replaces the earlier one
    QString title;
    QString body;
    QVariantMap userInfo; // handed back untouched when the user clicks the notification
};

// The desktop's notification centre.
class Notifications : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // True when a notification service answers now, or can be started on demand.
    virtual bool available() = 0;
    // Shows the notification; a failure is logged, never thrown.
    virtual void post(const Notification& notification) = 0;

signals:
    // The user clicked a notification that this object posted.
    void clicked(const QString& id, const QVariantMap& userInfo);
};

} // namespace os
