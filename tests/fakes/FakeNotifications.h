#pragma once

#include "os/Notifications.h"

#include <QList>

// A notification centre in memory: records every post; `click` plays the user clicking a posted one.
class FakeNotifications final : public os::Notifications {
public:
    bool available() override { return serviceAnswers; }
    void post(const os::Notification& notification) override { posted.append(notification); }

    // Clicks the latest notification posted under this id; false when there is none.
    bool click(const QString& id) {
        for (auto it = posted.crbegin(); it != posted.crend(); ++it)
            if (it->id == id) {
                emit clicked(it->id, it->userInfo);
                return true;
            }
        return false;
    }

    bool serviceAnswers = true;
    QList<os::Notification> posted;
};
