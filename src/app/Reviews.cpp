#include "app/Reviews.h"

#include "core/Log.h"
#include "core/Strings.h"
#include "surfaces/Browser.h"
#include "surfaces/Notify.h"
#include "surfaces/Nudges.h"

#include <QJsonArray>
#include <QPointer>

using namespace std::chrono_literals;

Reviews::Reviews(Needs needs, QObject* parent)
    : QObject(parent), m_nudges(needs.nudges), m_notify(needs.notify), m_browser(needs.browser),
      m_now(std::move(needs.now)), m_recording(std::move(needs.recording)) {
    m_reviewTimer.setInterval(pollInterval);
    connect(&m_reviewTimer, &QTimer::timeout, this, &Reviews::pollReviews);
}

void Reviews::watchReview(const QString& id, const API& api, const std::optional<QUrl>& link,
                          const std::optional<QString>& dest, const QString& title) {
    m_reviews.removeIf([&](const ReviewWatch& w) { return w.id == id; });
    m_reviews.append({id, api, link, dest, title, m_now().addSecs(watchSeconds), false, {}});
    if (!m_reviewTimer.isActive()) m_reviewTimer.start();
}

void Reviews::pollReviews() {
    const QDateTime now = m_now();
    // A review that doesn't come within its time ends silently.
    m_reviews.removeIf([&](const ReviewWatch& w) { return !w.ready && w.until < now; });
    QList<ReviewWatch> open;
    for (const ReviewWatch& w : m_reviews)
        if (!w.ready) open.append(w);
    if (open.isEmpty()) {
        m_reviewTimer.stop();
        emit changed();
        return;
    }
    for (const ReviewWatch& w : open)
        pollReview(w.id, w.api);
}

QCoro::Task<> Reviews::pollReview(QString id, API api) {
    const QPointer<Reviews> self(this);
    std::optional<QJsonObject> detail;
    std::optional<APIError> failure;
    try {
        auto asking = api.callDetail(id);
        detail = co_await std::move(asking);
    } catch (const APIError& e) {
        failure = e;
    }
    if (!self) co_return;
    if (failure) {
        if (failure->isMissing()) {
            m_reviews.removeIf([&](const ReviewWatch& w) { return w.id == id; });
            emit changed();
        } else {
            slog(QStringLiteral("review poll %1: %2").arg(id, failure->errorDescription()));
        }
        co_return;
    }
    const QJsonValue review = detail->value(QStringLiteral("review"));
    if (review.isUndefined() || review.isNull()) co_return;
    const auto watch =
        std::find_if(m_reviews.begin(), m_reviews.end(), [&](const ReviewWatch& w) { return w.id == id; });
    if (watch == m_reviews.end() || watch->ready) co_return;
    watch->ready = true;
    watch->suggestions = openSuggestions(review);
    const QString title = watch->title;
    const qsizetype count = watch->suggestions.size();
    slog(QStringLiteral("review ready: ") + id);
    m_notify.reviewReady(id, title, int(count), watch->link);
    if (!m_recording()) {
        const QString message =
            count == 0 ? QStringLiteral("Notes and the workflow review are in.")
                       : QStringLiteral("%1 %2 to look at. Each one asks where it goes.")
                             .arg(count)
                             .arg(count == 1 ? QStringLiteral("suggestion") : QStringLiteral("suggestions"));
        m_nudges.show({.kind = QStringLiteral("review"),
                       .priority = 1,
                       .title = QStringLiteral("Review ready \u2014 ") + shortened(title, 44),
                       .message = message,
                       .buttons = {{QStringLiteral("Later"), false, [] {}},
                                   {QStringLiteral("Open"), true,
                                    [self, id] {
                                        if (self) self->openReview(id);
                                    }}},
                       .timeout = 30s});
    }
    emit changed();
}

QList<Reviews::OpenSuggestion> Reviews::openSuggestions(const QJsonValue& review) {
    const QJsonValue list = review.toObject().value(QStringLiteral("suggestions"));
    if (!list.isArray()) return {};
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

void Reviews::openReview(const QString& id) {
    const auto watch =
        std::find_if(m_reviews.begin(), m_reviews.end(), [&](const ReviewWatch& w) { return w.id == id; });
    if (watch == m_reviews.end()) return;
    if (watch->link) m_browser.open(*watch->link);
    // Each open suggestion stays as a question of its own.
    if (watch->suggestions.isEmpty()) m_reviews.erase(watch);
    emit changed();
}

void Reviews::dropSuggestion(const QString& id, const QString& suggestion) {
    for (ReviewWatch& watch : m_reviews)
        if (watch.id == id)
            watch.suggestions.removeIf([&](const OpenSuggestion& s) { return s.i == suggestion; });
    emit changed();
}
