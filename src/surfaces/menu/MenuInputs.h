#pragma once

#include "surfaces/menu/MenuState.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <optional>
#include <variant>

// Everything the tray panel is built from, read off the long-lived objects at one moment. Plain data, so the
// panel's rows follow from it alone.
struct MenuInputs {
    struct Account {
        bool signedIn = false;
        std::optional<QString> name;
        std::optional<QString> email;
        std::optional<QString> error;
    };
    struct Legacy {
        std::optional<QString> myName; // the user's name on the first legacy server
        QString workspace;
    };
    struct Project {
        QString id;
        QString name;
        QString base;
        std::optional<QString> seat;
    };
    struct Upload {
        enum class Kind { idle, busy, saved, failed } kind = Kind::idle;
        QString text;
        QString detail;
        std::optional<QUrl> link;
    };
    // A recording that waits for "Where does this go?".
    struct Question {
        QString session;
        QString title;
        std::optional<QString> reason;
        QStringList choices;
        int suggested = 0;
    };
    struct Review {
        QString id;
        QString title;
        QStringList suggestions;
    };
    struct Todo {
        QString id;
        QString title;
        QString status;
        std::optional<QString> topic;
        std::optional<QString> effort;
        std::optional<QString> workspaceID;
        QString workspaceName;
    };
    struct Todos {
        bool haveSource = false; // signed in with a project, or a legacy server
        bool loaded = false;
        std::optional<QString> loadError;
        bool needsUpdate = false; // no source has the to-do route
        QStringList lacking;      // the projects whose server lacks it
        QStringList startedStatuses;
        QList<Todo> items;
    };
    struct Workday {
        double trackedSeconds = 0;
        std::optional<QString> pausedUntil; // the time, while paused with an end
        bool paused = false;
        bool syncNeedsUpdate = false;
        bool frontmostUnknown = false; // the desktop does not say which app is in front
    };
    struct LastFiled {
        QString title;
        QString destination;
    };

    Account account;
    std::optional<QString> signInCode;
    std::optional<Legacy> legacy;
    QString platformBase;
    QList<Project> projects;
    bool projectMode = false;
    Rec::State rec = Rec::Idle{};
    bool pinning = false;
    int queuedPins = 0;
    bool voiceKeyOK = false;
    Upload upload;
    QList<Question> questions;
    int keptForPersonal = 0;
    int failedSessions = 0;
    QList<Review> reviews;
    std::optional<LastFiled> lastFiled;
    Todos todos;
    std::optional<Workday> workday; // when the work day is tracked
    bool endOfDay = false;          // a home server that can run the end of day
};
