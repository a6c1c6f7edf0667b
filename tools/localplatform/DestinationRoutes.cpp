#include "Generation.h"
#include "Json.h"
#include "RouteTable.h"
#include "Routes.h"
#include "Store.h"
#include "Switches.h"

#include <QJsonDocument>

namespace {

QJsonObject todoJson(const Store::Todo& todo) {
    QJsonObject item{{"n", qint64(todo.n)},
                     {"id", todo.numericId ? QJsonValue(std::stod(todo.id)) : QJsonValue(qtext(todo.id))},
                     {"title", qtext(todo.title)},
                     {"status", qtext(todo.status)}};
    if (todo.topic) item.insert("topic", qtext(*todo.topic));
    if (todo.effort) item.insert("effort", qtext(*todo.effort));
    return item;
}

// A finished end-of-day job: a summary of the day's spans and the to-dos still open, and the follow-ups, one
// of them without a title.
QJsonObject finishedWrap(Store& store, const std::string& scope, const std::string& day, bool highlights) {
    const std::int64_t spans = store.workdaySpanCount(scope, day);
    const std::vector<Store::Todo> open = store.todos(scope);
    QJsonArray tomorrow;
    for (std::size_t i = 0; i < std::min<std::size_t>(2, open.size()); ++i)
        tomorrow.append(qtext(open[i].title));
    QJsonObject reply{
        {"status", "done"},
        {"summary", qtext(std::to_string(spans) + " spans of work on " + day + ".")},
        {"tomorrow", tomorrow},
        {"cards", QJsonArray{QJsonObject{{"id", "card-1"}, {"title", "Follow up on today's calls"}},
                             QJsonObject{{"id", 2}}}}};
    if (highlights)
        reply.insert("highlights", QJsonArray{qtext(std::to_string(spans) + " spans of focused work"),
                                              qtext(std::to_string(open.size()) + " to-dos still open")});
    return reply;
}

std::vector<std::string> followUpTitles(const QJsonObject& finished) {
    std::vector<std::string> titles;
    for (const QJsonValue card : finished.value("cards").toArray())
        if (card["title"].isString()) titles.push_back(card["title"].toString().toStdString());
    return titles;
}

// The job's state at this poll, as scripted; the first "done" answer adds the follow-ups to the to-dos.
QJsonObject wrapStatus(Store& store, const WrapScript& script, const std::string& scope,
                       const std::string& day) {
    using Outcome = WrapScript::Outcome;
    const QJsonObject none{{"status", "none"}};
    if (script.outcome == Outcome::Unstarted) return none;
    const std::optional<std::int64_t> polls = store.pollWrap(scope, day);
    if (!polls) return none;
    if (script.outcome == Outcome::Endless || *polls < script.after) return {{"status", "running"}};
    if (script.outcome == Outcome::Error) {
        QJsonObject failed{{"status", "error"}};
        if (script.error) failed.insert("error", qtext(*script.error));
        return failed;
    }
    const QJsonObject finished = finishedWrap(store, scope, day, script.highlights);
    store.addFollowUps(scope, day, followUpTitles(finished));
    return finished;
}

Reply setTodoStatus(Store& store, const Exchange& exchange, const char* status) {
    if (!store.setTodoStatus(exchange.destination().scope, exchange.param("id"), status))
        return Reply::error(404, "no to-do " + exchange.param("id"));
    return Reply::json(QJsonObject{{"ok", true}, {"status", status}});
}

} // namespace

void addDestinationRoutes(RouteTable& routes, Store& store, const Generation& generation,
                          const Switches& switches) {
    routes.add("GET", "/me", [](Exchange& exchange) {
        return Reply::json(QJsonObject{{"ego", QJsonObject{{"name", qtext(exchange.destination().ego)}}}});
    });
    routes.add("GET", "/my/todos", [&store](Exchange& exchange) {
        QJsonArray list;
        for (const Store::Todo& todo : store.todos(exchange.destination().scope))
            list.append(todoJson(todo));
        return Reply::json(list);
    });
    routes.add("POST", "/my/todos/{id}/start",
               [&store](Exchange& exchange) { return setTodoStatus(store, exchange, "in_progress"); });
    routes.add("POST", "/my/todos/{id}/finish",
               [&store](Exchange& exchange) { return setTodoStatus(store, exchange, "done"); });
    routes.add("POST", "/tasks", [&store, &switches](Exchange& exchange) {
        if (exchange.destination().kind == Destination::Kind::Personal && switches.personalTasksClosed())
            return Reply::error(404, "Personal takes no tasks yet");
        const QJsonObject body = exchange.json();
        const std::int64_t id =
            store.addTask(exchange.destination().scope,
                          {requiredText(body, "title"), optionalString(body, "notes"),
                           optionalBool(body, "inbox", false), optionalString(body, "source")});
        return Reply::json(QJsonObject{{"id", qint64(id)}});
    });
    routes.add("POST", "/workday", [&store, &generation](Exchange& exchange) {
        generation.requireWorkday();
        const QJsonObject body = exchange.json();
        const QJsonValue spans = body.value("spans");
        if (!spans.isArray()) return Reply::error(400, "spans is missing");
        store.saveWorkday(exchange.destination().scope, requiredText(body, "day"),
                          QJsonDocument(spans.toArray()).toJson(QJsonDocument::Compact).toStdString(),
                          int(spans.toArray().size()));
        return Reply::json(QJsonObject{{"ok", true}, {"spans", spans.toArray().size()}});
    });
    routes.add("POST", "/workday/wrap", [&store, &generation](Exchange& exchange) {
        generation.requireWorkday();
        store.startWrap(exchange.destination().scope, requiredText(exchange.json(), "day"));
        return Reply::json(QJsonObject{{"status", "running"}});
    });
    routes.add("GET", "/workday/wrap", [&store, &generation, &switches](Exchange& exchange) {
        generation.requireWorkday();
        return Reply::json(
            wrapStatus(store, switches.wrapScript(), exchange.destination().scope, exchange.query("day")));
    });
}
