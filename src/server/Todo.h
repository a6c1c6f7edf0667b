#pragma once

#include "core/Workspace.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <optional>

// One to-do of the user, as a destination lists it.
struct Todo {
    int n = 0;
    QString id;
    QString title;
    QString status;
    std::optional<QString> topic;
    std::optional<QString> effort;
    std::optional<Workspace> ws; // the destination it came from; set by whoever gathers them

    bool operator==(const Todo&) const = default;

    // The items of a reply; an item without a usable id, or with one already seen, is left out (the panel
    // tells rows apart by it); a missing number is the place from 1.
    static QList<Todo> list(const QJsonValue& items);
};
