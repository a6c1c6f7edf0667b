#include "recording/Router.h"

#include "core/Log.h"

#include <QSet>
#include <QTextBoundaryFinder>
#include <algorithm>
#include <cmath>

int RouteResult::percent() const {
    return int(std::round(score * 100));
}

QString Suggestion::label() const {
    return (project ? project->ws.name : QStringLiteral("Personal")) + QStringLiteral(" \u00b7 ") + reason;
}

namespace Router {
namespace {

// Cut to the first `max` user-perceived characters, so that no letter is split from its marks.
QString firstGraphemes(const QString& text, qsizetype max) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype count = 0;
    while (finder.toNextBoundary() != -1)
        if (++count == max) return text.left(finder.position());
    return text;
}

void sortByScore(QList<RouteResult>& results) {
    std::stable_sort(results.begin(), results.end(),
                     [](const RouteResult& a, const RouteResult& b) { return a.score > b.score; });
}

double secondScore(const QList<RouteResult>& sorted) {
    return sorted.size() > 1 ? sorted.at(1).score : 0;
}

// A clear lead: at least 0.6, and at least 0.2 above the next project.
bool clearLead(const QList<RouteResult>& sorted) {
    const double best = sorted.first().score;
    return best >= 0.6 && best - secondScore(sorted) >= 0.2;
}

QCoro::Task<std::optional<RouteResult>> scoreOne(Workspace ws, API api, QString title, QString app,
                                                 QList<QString> participants, QString text) {
    try {
        const API::RouteScore s = co_await api.routeScore(title, app, participants, text);
        co_return RouteResult{ws, std::clamp(s.score, 0.0, 1.0), s.reasons};
    } catch (const APIError& e) {
        slog(QStringLiteral("route/score @ %1: %2").arg(ws.name, e.errorDescription()));
    }
    co_return std::nullopt;
}

} // namespace

QString text(const SessionMeta& meta) {
    QStringList lines;
    QSet<QString> seen;
    for (const AppSpan& span : meta.apps.value_or(QList<AppSpan>{})) {
        if (span.app == QLatin1String("(private)")) continue;
        const QString line = span.title ? span.app + QStringLiteral(": ") + *span.title : span.app;
        if (!seen.contains(line)) {
            seen.insert(line);
            lines.append(line);
        }
    }
    for (const PinMeta& pin : meta.pins)
        if (!pin.note.isEmpty()) lines.append(QStringLiteral("Pin: ") + pin.note);
    for (const OcrEntry& entry : meta.ocr.value_or(QList<OcrEntry>{}))
        lines.append(entry.text);
    return firstGraphemes(lines.join(QLatin1Char('\n')), maxText);
}

QCoro::Task<QList<RouteResult>> scoreAll(QList<std::pair<Workspace, API>> pairs, QString title, QString app,
                                         QList<QString> participants, QString text) {
    // Every request starts before the first is awaited: they run at the same time.
    std::vector<QCoro::Task<std::optional<RouteResult>>> running;
    running.reserve(size_t(pairs.size()));
    for (const auto& [ws, api] : pairs)
        running.push_back(scoreOne(ws, api, title, app, participants, text));
    QList<RouteResult> results;
    for (auto& task : running)
        if (auto result = co_await task) results.append(*result);
    sortByScore(results);
    co_return results;
}

std::optional<Decision> decide(QList<RouteResult> results) {
    if (results.isEmpty()) return std::nullopt;
    sortByScore(results);
    return Decision{results.first(), clearLead(results)};
}

Suggestion suggest(QList<RouteResult> results, bool isCall, bool autoFile) {
    if (!isCall) return {std::nullopt, QStringLiteral("a work session \u2014 only you see it"), false};
    sortByScore(results);
    const std::optional<QString> reason = results.isEmpty() ? std::nullopt : teamReason(results.first());
    if (!reason) return {std::nullopt, QStringLiteral("no team signals on this call"), false};
    if (!clearLead(results)) return {std::nullopt, QStringLiteral("not clearly one project"), false};
    const RouteResult& best = results.first();
    return {best, *reason, autoFile && best.score >= 0.9 && hasParticipants(best)};
}

std::optional<QString> teamReason(const RouteResult& result) {
    for (const QString& reason : result.reasons)
        if (reason.startsWith(QLatin1String("with ")) || reason.endsWith(QLatin1String(" in the title")))
            return reason;
    return std::nullopt;
}

bool hasParticipants(const RouteResult& result) {
    return std::any_of(result.reasons.begin(), result.reasons.end(),
                       [](const QString& r) { return r.startsWith(QLatin1String("with ")); });
}

} // namespace Router
