#pragma once

#include "core/Workspace.h"
#include "recording/Session.h"
#include "server/API.h"

#include <QCoroTask>
#include <QList>
#include <optional>
#include <utility>

// How well a recording fits a project, as its server scored it.
struct RouteResult {
    Workspace ws;
    double score = 0; // 0 to 1
    QList<QString> reasons;

    // Whole percent, halves away from zero.
    int percent() const;
    bool operator==(const RouteResult&) const = default;
};

// Where a recording should go: a project, or Personal when `project` is absent.
struct Suggestion {
    std::optional<RouteResult> project;
    QString reason;
    bool isAuto = false; // may be filed without asking

    // "Brevik · with Ivo, Tess", "Personal · no team signals on this call".
    QString label() const;
    bool operator==(const Suggestion&) const = default;
};

// Where a finished recording belongs. Cautious: a project only on evidence that other people took part.
namespace Router {

inline constexpr qsizetype maxText = 20000;

// The text that characterises the recording: the apps in front, the pins' notes, the text read off the
// screen.
QString text(const SessionMeta& meta);
// Asks every project's server at once; a project that fails is logged and left out. Highest score first.
QCoro::Task<QList<RouteResult>> scoreAll(QList<std::pair<Workspace, API>> pairs, QString title, QString app,
                                         QList<QString> participants, QString text);

struct Decision {
    RouteResult best;
    bool isAuto = false;
};
// The plain decision on the scores alone.
std::optional<Decision> decide(QList<RouteResult> results);
// The decision of the wrap-up and the live tip.
Suggestion suggest(QList<RouteResult> results, bool isCall, bool autoFile);

// The first reason that names people: "with …" or "… in the title".
std::optional<QString> teamReason(const RouteResult& result);
bool hasParticipants(const RouteResult& result);

} // namespace Router
