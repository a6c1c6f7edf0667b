#include "app/LiveTips.h"

#include "app/Capture.h"
#include "app/Cards.h"
#include "app/Pinning.h"
#include "app/TuneIn.h"
#include "core/Fmt.h"
#include "core/Log.h"
#include "core/Strings.h"
#include "server/API.h"
#include "server/Settings.h"
#include "surfaces/HUD.h"
#include "surfaces/Nudges.h"

#include <QJsonArray>
#include <QPointer>

using namespace std::chrono_literals;

LiveTips::LiveTips(Needs needs, QObject* parent) : QObject(parent), m_needs(std::move(needs)) {}

void LiveTips::tick() {
    Capture* capture = m_needs.tuneIn.capture();
    if (!capture) return;
    const QDateTime now = m_needs.now();
    if (capture->session() != m_state.recording)
        m_state = State{.recording = capture->session(), .nextAt = now.addSecs(firstWait.count())};
    if (!m_needs.settings.liveTips() || m_state.off || m_state.busy || now < m_state.nextAt) return;
    Recorder::LiveSnapshot snapshot = capture->liveSnapshot(m_state.sentOcr);
    // No new text, no question.
    if (snapshot.ocr.isEmpty()) return;
    m_state.busy = true;
    ask(std::move(snapshot), capture->elapsed());
}

QJsonObject LiveTips::body(const Recorder::LiveSnapshot& snapshot, double t) {
    QJsonArray ocr, apps, pins;
    for (const OcrEntry& entry : snapshot.ocr)
        ocr.append(entry.toJson());
    for (const AppSpan& span : snapshot.apps)
        apps.append(span.toJson());
    for (const PinMeta& pin : snapshot.pins)
        pins.append(QJsonObject{{"t", pin.t}, {"note", pin.note}});
    return {{"started", Fmt::iso(snapshot.started)},
            {"t", round1(t)},
            {"ocr", ocr},
            {"apps", apps},
            {"pins", pins},
            {"kind", snapshot.kind}};
}

QCoro::Task<> LiveTips::findWorkspace(const Recorder::LiveSnapshot& snapshot) {
    const QPointer<LiveTips> self(this);
    const std::shared_ptr<Session> recording = m_state.recording;
    const SessionMeta& meta = snapshot.meta;
    auto scoring = Router::scoreAll(m_needs.settings.connected(), meta.title, meta.app, meta.participants,
                                    Router::text(meta));
    const QList<RouteResult> scores = co_await std::move(scoring);
    if (!self || m_state.recording != recording) co_return;
    const Suggestion suggestion = Router::suggest(scores, snapshot.kind == QLatin1String("call"), false);
    if (!suggestion.project) co_return;
    m_state.suggestion = suggestion;
    m_state.workspace = suggestion.project->ws;
}

QCoro::Task<> LiveTips::ask(Recorder::LiveSnapshot snapshot, double t) {
    const QPointer<LiveTips> self(this);
    const std::shared_ptr<Session> recording = m_state.recording;
    // A later recording has a state of its own: an answer for this one changes nothing there.
    const auto current = [&] { return self && m_state.recording == recording; };

    if (!m_state.workspace && !m_needs.settings.connected().isEmpty()) {
        auto finding = findWorkspace(snapshot);
        co_await std::move(finding);
        if (!current()) co_return;
    }
    const std::optional<Workspace> workspace =
        m_state.workspace ? m_state.workspace : m_needs.settings.home();
    const std::optional<API> api = m_needs.settings.api(workspace);
    if (!api) {
        m_state.busy = false;
        co_return;
    }
    std::optional<CoachReply> reply;
    std::optional<APIError> failure;
    try {
        auto asking = api->coachLive(body(snapshot, t));
        reply = co_await std::move(asking);
    } catch (const APIError& e) {
        failure = e;
    }
    if (!current()) co_return;
    m_state.busy = false;
    const QDateTime now = m_needs.now();
    const QString where = QStringLiteral("coach/live @ ") + workspace->name;
    if (failure && failure->isMissing()) {
        slog(where + QStringLiteral(": 404, live tips off for this recording (workspace needs an update)"));
        m_state.off = true;
    } else if (failure) {
        slog(where + QStringLiteral(": ") + failure->errorDescription());
        m_state.nextAt = now.addSecs(afterFailure.count());
    } else {
        m_state.sentOcr = snapshot.ocrCount;
        const double wait = reply->nextAfter ? std::max(*reply->nextAfter, double(shortestWait.count()))
                                             : double(firstWait.count());
        m_state.nextAt = now.addMSecs(qint64(wait * 1000));
        const Capture* capture = m_needs.tuneIn.capture();
        if (reply->tip && capture && capture->session() == recording) showTip(*reply->tip);
    }
}

void LiveTips::showTip(const LiveTip& tip) {
    if (m_needs.pinning.pinning()) return;
    m_needs.hud.model().add(FeedItem::Kind::tip, tip.title);
    const std::optional<QString> destination =
        m_state.workspace && m_state.workspace->slug ? m_state.workspace->slug
        : m_needs.settings.signedIn()                ? std::optional<QString>(QStringLiteral("personal"))
                                                     : std::nullopt;
    const bool offersCard = tip.cardTitle && destination;
    QString message = tip.body;
    if (tip.cardTitle) message += QStringLiteral("\nCard: ") + *tip.cardTitle;
    std::vector<NudgeButton> buttons{{QStringLiteral("Got it"), !offersCard, [] {}}};
    if (offersCard) {
        const QPointer<LiveTips> self(this);
        buttons.push_back({QStringLiteral("Add as card\u2026"), true, [self, tip, destination] {
                               if (self)
                                   self->m_needs.cards.askCard(*tip.cardTitle, tip.cardWhy, destination,
                                                               std::nullopt);
                           }});
    }
    m_needs.nudges.show({.kind = QStringLiteral("tip"),
                         .priority = 1,
                         .icon = QStringLiteral("/"),
                         .title = tip.title,
                         .message = message,
                         .buttons = std::move(buttons),
                         .timeout = 45s});
}
