#pragma once

#include "core/Clock.h"
#include "server/API.h"

#include <QCoroTask>
#include <QDateTime>
#include <QObject>
#include <QTimer>
#include <functional>
#include <optional>

class Browser;
class Notify;
class Nudges;

// Watching uploaded calls until the platform's review is in, then bringing it to the user: a notification, a
// nudge and, for each open suggestion, a question of its own.
class Reviews : public QObject {
    Q_OBJECT
public:
    // An open suggestion of a review: each becomes a question of its own.
    struct OpenSuggestion {
        QString i;
        QString title;
        std::optional<QString> why;
        bool operator==(const OpenSuggestion&) const = default;
    };
    // One uploaded call waiting for its review.
    struct ReviewWatch {
        QString id;
        API api;
        std::optional<QUrl> link;
        std::optional<QString> dest;
        QString title;
        QDateTime until;
        bool ready = false;
        QList<OpenSuggestion> suggestions;
    };

    struct Needs {
        Nudges& nudges;
        Notify& notify;
        Browser& browser;
        Clock now;
        // A review that comes during a recording is notified, not put in front of the user.
        std::function<bool()> recording = [] { return false; };
    };
    explicit Reviews(Needs needs, QObject* parent = nullptr);

    static constexpr std::chrono::seconds pollInterval{30};
    static constexpr qint64 watchSeconds = 1200;

    void watchReview(const QString& id, const API& api, const std::optional<QUrl>& link,
                     const std::optional<QString>& dest, const QString& title);
    void pollReviews();
    void openReview(const QString& id);
    // The suggestion became a card: it is no longer asked about.
    void dropSuggestion(const QString& id, const QString& suggestion);
    static QList<OpenSuggestion> openSuggestions(const QJsonValue& review);

    const QList<ReviewWatch>& reviews() const { return m_reviews; }

signals:
    void changed();

private:
    QCoro::Task<> pollReview(QString id, API api);

    Nudges& m_nudges;
    Notify& m_notify;
    Browser& m_browser;
    Clock m_now;
    std::function<bool()> m_recording;
    QList<ReviewWatch> m_reviews;
    QTimer m_reviewTimer; // runs while a watch isn't ready
};
