// Watching uploaded calls until the platform's review is in, then bringing it to the user.
#include "app/AppDelegate.h"

#include "app/Services.h"
#include "core/Log.h"
#include "surfaces/Notify.h"
#include "surfaces/Nudges.h"

#include <QJsonArray>
#include <QPointer>

using namespace std::chrono_literals;

void AppDelegate::watchReview(QString id, API api, std::optional<QUrl> link, std::optional<QString> dest,
                              QString title) {
    m_reviews.removeIf([&](const ReviewWatch& w) { return w.id == id; });
    m_reviews.append({std::move(id),
                      std::move(api),
                      std::move(link),
                      std::move(dest),
                      std::move(title),
                      QDateTime::currentDateTimeUtc().addSecs(1200),
                      false,
                      {}});
    if (!m_reviewTimer) {
        m_reviewTimer = std::make_unique<QTimer>();
        m_reviewTimer->setInterval(30s);
        connect(m_reviewTimer.get(), &QTimer::timeout, this, &AppDelegate::pollReviews);
        m_reviewTimer->start();
    }
}

void AppDelegate::pollReviews() {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    // A review that doesn't come within its time ends silently.
    m_reviews.removeIf([&](const ReviewWatch& w) { return !w.ready && w.until < now; });
    QList<ReviewWatch> open;
    for (const ReviewWatch& w : m_reviews)
        if (!w.ready)
            open.append(w);
    if (open.isEmpty()) {
        m_reviewTimer.reset();
        rebuildMenu();
        return;
    }
    for (const ReviewWatch& w : open)
        pollReview(w.id, w.api);
}

QCoro::Task<> AppDelegate::pollReview(QString id, API api) {
    const QPointer<AppDelegate> self(this);
    std::optional<QJsonObject> detail;
    std::optional<APIError> failure;
    try {
        detail = co_await api.callDetail(id);
    } catch (const APIError& e) {
        failure = e;
    }
    if (!self)
        co_return;
    if (failure) {
        if (failure->isMissing()) {
            m_reviews.removeIf([&](const ReviewWatch& w) { return w.id == id; });
            rebuildMenu();
        } else {
            slog(QStringLiteral("review poll %1: %2").arg(id, failure->errorDescription()));
        }
        co_return;
    }
    const QJsonValue review = detail->value(QStringLiteral("review"));
    if (review.isUndefined() || review.isNull())
        co_return;
    const auto watch =
        std::find_if(m_reviews.begin(), m_reviews.end(), [&](const ReviewWatch& w) { return w.id == id; });
    if (watch == m_reviews.end() || watch->ready)
        co_return;
    watch->ready = true;
    watch->suggestions = openSuggestions(review);
    const QString title = watch->title;
    const qsizetype count = watch->suggestions.size();
    slog(QStringLiteral("review ready: ") + id);
    m_services.notify->reviewReady(id, title, int(count), watch->link);
    const QString message =
        count == 0 ? QStringLiteral("Notes and the workflow review are in.")
                   : QStringLiteral("%1 %2 to look at. Each one asks where it goes.")
                         .arg(count)
                         .arg(count == 1 ? QStringLiteral("suggestion") : QStringLiteral("suggestions"));
    m_services.nudges->show({QStringLiteral("review"),
                             1,
                             QStringLiteral("/"),
                             QStringLiteral("Review ready \u2014 ") + Notify::shortened(title, 44),
                             message,
                             {{QStringLiteral("Later"), false, [] {}},
                              {QStringLiteral("Open"), true,
                               [self, id] {
                                   if (self)
                                       self->openReview(id);
                               }}},
                             false,
                             30s,
                             {}});
    rebuildMenu();
}

QList<AppDelegate::OpenSuggestion> AppDelegate::openSuggestions(const QJsonValue& review) {
    const QJsonValue list = review.toObject().value(QStringLiteral("suggestions"));
    if (!list.isArray())
        return {};
    QList<OpenSuggestion> open;
    const QJsonArray elements = list.toArray();
    for (qsizetype k = 0; k < elements.size(); ++k) {
        const QJsonObject element = elements[k].toObject();
        const std::optional<QString> title = API::str(element.value(QStringLiteral("title")));
        const QString state = element.value(QStringLiteral("state")).toString();
        if (!title || title->trimmed().isEmpty() || state == QLatin1String("accepted") ||
            state == QLatin1String("dismissed"))
            continue;
        open.append({API::str(element.value(QStringLiteral("i"))).value_or(QString::number(k)), *title,
                     API::str(element.value(QStringLiteral("why")))});
    }
    return open;
}

void AppDelegate::openReview(const QString& id) {
    const auto watch =
        std::find_if(m_reviews.begin(), m_reviews.end(), [&](const ReviewWatch& w) { return w.id == id; });
    if (watch == m_reviews.end())
        return;
    if (watch->link)
        m_services.browser->open(*watch->link);
    // Each open suggestion stays as a question of its own.
    if (watch->suggestions.isEmpty())
        m_reviews.erase(watch);
    rebuildMenu();
}
