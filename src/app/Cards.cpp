#include "app/Cards.h"

#include "core/FiledRef.h"
#include "core/Log.h"
#include "core/Strings.h"
#include "recording/Session.h"
#include "server/Settings.h"
#include "surfaces/Nudges.h"
#include "voice/NoteCard.h"

#include <QPointer>

using namespace std::chrono_literals;

Cards::Cards(Needs needs, QObject* parent)
    : QObject(parent), m_settings(needs.settings), m_nudges(needs.nudges), m_now(std::move(needs.now)) {}

void Cards::askCard(const QString& title, const std::optional<QString>& why,
                    const std::optional<QString>& suggested, const std::optional<FromReview>& review) {
    const QPointer<Cards> self(this);
    if (!m_settings.signedIn()) {
        m_nudges.show({.kind = QStringLiteral("card"),
                       .priority = 2,
                       .title = QStringLiteral("Sign in to add cards"),
                       .buttons = {{QStringLiteral("Sign in"), true,
                                    [self] {
                                        if (self) emit self->signInWanted();
                                    }}},
                       .timeout = 15s});
        return;
    }
    const QString proposal = suggested.value_or(FiledRef::personal);
    QList<std::pair<QString, QString>> destinations{
        {FiledRef::personal, QStringLiteral("Personal \u2014 my day (private)")}};
    for (const Workspace& p : m_settings.projects())
        if (p.slug) destinations.append({*p.slug, p.name + QStringLiteral(" \u2014 New from chat")});
    std::stable_partition(destinations.begin(), destinations.end(),
                          [&](const auto& d) { return d.first == proposal; });
    std::vector<NudgeButton> buttons;
    for (const auto& [dest, label] : destinations)
        buttons.push_back({label, dest == proposal, [self, title, why, dest, review] {
                               if (self) self->addCard(title, why, dest, review);
                           }});
    m_nudges.show({.kind = QStringLiteral("card"),
                   .priority = 2,
                   .title = QStringLiteral("Where does this card go?"),
                   .message = QStringLiteral("\u201c%1\u201d\nSuggested: %2")
                                  .arg(shortened(title, 70), m_settings.destName(proposal)),
                   .buttons = std::move(buttons),
                   .stacked = true,
                   .timeout = 60s});
}

void Cards::addCard(const QString& title, const std::optional<QString>& why, const QString& to,
                    const std::optional<FromReview>& review) {
    send(title, why, to, review);
}

QCoro::Task<> Cards::send(QString title, std::optional<QString> why, QString to,
                          std::optional<FromReview> review) {
    const QPointer<Cards> self(this);
    try {
        if (review && review->dest == to && to != FiledRef::personal) {
            // The server makes the card from its own suggestion.
            auto accepting =
                review->api.json(QByteArrayLiteral("POST"),
                                 QStringLiteral("/api/calls/%1/review/%2/accept")
                                     .arg(urlComponent(review->watch), urlComponent(review->suggestion)));
            co_await std::move(accepting);
        } else if (to == FiledRef::personal) {
            auto adding = addPersonalTask(title, why);
            const bool added = co_await std::move(adding);
            if (!added) {
                if (self) emit self->changed();
                co_return;
            }
        } else {
            const std::optional<API> api = m_settings.api(to);
            if (!api) co_return;
            auto posting = api->json(QByteArrayLiteral("POST"), QStringLiteral("/api/tasks"),
                                     QJsonObject{{QStringLiteral("title"), title},
                                                 {QStringLiteral("notes"), why.value_or(QString())},
                                                 {QStringLiteral("inbox"), true},
                                                 {QStringLiteral("source"), QStringLiteral("mac")}});
            co_await std::move(posting);
        }
    } catch (const APIError& error) {
        if (!self) co_return;
        m_nudges.show({.kind = QStringLiteral("cardDone"),
                       .priority = 1,
                       .title = QStringLiteral("Couldn\u2019t add the card"),
                       .message = error.errorDescription()});
        emit changed();
        co_return;
    }
    if (!self) co_return;
    if (review) emit suggestionTaken(review->watch, review->suggestion);
    slog(QStringLiteral("card \u201c%1\u201d \u2192 %2").arg(title, to));
    m_nudges.show(
        {.kind = QStringLiteral("cardDone"),
         .priority = 1,
         .title = to == FiledRef::personal
                      ? QStringLiteral("Added to your day (Personal)")
                      : QStringLiteral("Added to %1 \u00B7 New from chat").arg(m_settings.destName(to)),
         .message = title,
         .timeout = 4s});
    emit changed();
}

QCoro::Task<bool> Cards::addPersonalTask(QString title, std::optional<QString> why) {
    if (const std::optional<API> api = m_settings.personalAPI()) {
        try {
            auto posting = api->createTask(title, why);
            co_await std::move(posting);
            co_return true;
        } catch (const APIError& error) {
            if (!error.isMissing()) throw;
            slog(QStringLiteral("personal/tasks 404 -> private note"));
        }
    }
    co_return recordNote(title, why);
}

bool Cards::recordNote(const QString& title, const std::optional<QString>& why) {
    const std::optional<QByteArray> jpeg = NoteCard::jpeg(title);
    if (!jpeg) {
        slog(QStringLiteral("card \u201c%1\u201d: the note could not be drawn").arg(title));
        return false;
    }
    const std::shared_ptr<Session> session =
        Session::create(QStringLiteral("Note \u00B7 ") + shortened(title, 60), QStringLiteral("Orvane"),
                        std::nullopt, m_now());
    session->addPin(0, why ? title + QStringLiteral(" \u2014 ") + *why : title, *jpeg, false, true);
    SessionMeta& meta = session->meta;
    meta.ended = meta.started.addSecs(1);
    meta.kind = QStringLiteral("session");
    meta.personal = true;
    meta.routeDone = true;
    meta.routed = Routed{0, {}, false};
    session->save();
    emit noteRecorded(session);
    return true;
}
