#include "FaultPlan.h"
#include "Generation.h"
#include "Json.h"
#include "RequestLog.h"
#include "RouteTable.h"
#include "Routes.h"
#include "Store.h"
#include "Switches.h"

#include <QJsonDocument>
#include <limits>

namespace {

Fault faultFrom(const QJsonObject& body) {
    Fault fault;
    fault.method = textOf(body.value("method"));
    fault.path = textOf(body.value("path"));
    fault.status = body.value("status").toInt(0);
    fault.body = textOf(body.value("body"));
    if (body.contains("content_type")) fault.contentType = textOf(body.value("content_type"));
    fault.delay = std::chrono::milliseconds(body.value("delay_ms").toInteger(0));
    fault.count = body.value("count").toInt(1);
    fault.holdUntil = textOf(body.value("hold_until"));
    if (fault.path.empty()) throw HttpError(400, "path is missing");
    if (fault.count < 1 || fault.delay.count() < 0 ||
        (fault.status != 0 && (fault.status < 100 || fault.status > 599)))
        throw HttpError(400, "count, delay_ms or status is out of range");
    return fault;
}

QJsonObject entryJson(const RequestLog::Entry& entry) {
    QJsonObject headers;
    for (const auto& [name, value] : entry.headers)
        headers.insert(qtext(name), qtext(value));
    return {{"method", qtext(entry.method)},
            {"path", qtext(entry.path)},
            {"headers", headers},
            {"body_size", qint64(entry.bodySize)}};
}

// What a test needs to know of a call that arrived; the images are counted, not sent.
QJsonObject callJson(const Store::Call& call) {
    const QJsonObject fields = QJsonDocument::fromJson(QByteArray::fromStdString(call.fields)).object();
    return {{"id", qtext("rec:" + std::to_string(call.number))},
            {"scope", qtext(call.scope)},
            {"title", fields.value("title")},
            {"state", qtext(call.state)},
            {"audio_bytes", qint64(call.audioBytes)},
            {"shots", fields.value("shots").toArray().size()},
            {"pins", fields.value("pins").toArray().size()}};
}

// Every field a test may check of a to-do, with the id always as text.
QJsonObject todoJson(const Store::Todo& todo) {
    const auto orNull = [](const std::optional<std::string>& text) {
        return text ? QJsonValue(qtext(*text)) : QJsonValue();
    };
    return {{"id", qtext(todo.id)},        {"title", qtext(todo.title)}, {"status", qtext(todo.status)},
            {"notes", orNull(todo.notes)}, {"inbox", todo.inbox},        {"source", orNull(todo.source)}};
}

bool requiredBool(const QJsonObject& body, const char* key) {
    if (!body.value(key).isBool()) throw HttpError(400, std::string(key) + " is missing");
    return body.value(key).toBool();
}

WrapScript wrapScriptFrom(const QJsonObject& body) {
    WrapScript script;
    const std::string outcome = textOf(body.value("outcome"));
    const std::optional<WrapScript::Outcome> parsed = WrapScript::parse(outcome);
    if (!parsed)
        throw HttpError(400, "outcome is \"done\", \"error\", \"unstarted\" or \"endless\", not \"" +
                                 outcome + "\"");
    script.outcome = *parsed;
    if (body.contains("after")) {
        const QJsonValue after = body.value("after");
        if (!after.isDouble() || after.toInteger(0) < 1 ||
            after.toInteger() > std::numeric_limits<int>::max())
            throw HttpError(400, "after is a count of polls from 1");
        script.after = int(after.toInteger());
    }
    script.highlights = optionalBool(body, "highlights", true);
    script.error = optionalString(body, "error");
    return script;
}

} // namespace

void addControlRoutes(RouteTable& control, Store& store, FaultPlan& faults, RequestLog& log,
                      Switches& switches, Generation& generation) {
    control.add("POST", "/__control/fault", [&faults](Exchange& exchange) {
        faults.add(faultFrom(exchange.json()));
        return Reply::json(QJsonObject{{"ok", true}});
    });
    control.add("POST", "/__control/generation", [&generation](Exchange& exchange) {
        const std::string name = textOf(exchange.json().value("generation"));
        const std::optional<Generation::Kind> kind = Generation::parse(name);
        if (!kind) throw HttpError(400, "generation is \"current\" or \"old\", not \"" + name + "\"");
        generation.set(*kind);
        return Reply::json(QJsonObject{{"ok", true}, {"generation", qtext(name)}});
    });
    control.add("POST", "/__control/reset", [&store, &faults, &log, &switches, &generation](Exchange&) {
        generation.set(Generation::Kind::Current);
        faults.clear();
        log.clear();
        switches.reset();
        store.reset();
        return Reply::json(QJsonObject{{"ok", true}});
    });
    control.add("GET", "/__control/requests", [&log](Exchange&) {
        QJsonArray list;
        for (const RequestLog::Entry& entry : log.entries())
            list.append(entryJson(entry));
        return Reply::json(list);
    });
    control.add("POST", "/__control/personal", [&switches](Exchange& exchange) {
        switches.setPersonalClosed(requiredBool(exchange.json(), "closed"));
        return Reply::json(QJsonObject{{"ok", true}});
    });
    control.add("POST", "/__control/personal-tasks", [&switches](Exchange& exchange) {
        switches.setPersonalTasksClosed(requiredBool(exchange.json(), "closed"));
        return Reply::json(QJsonObject{{"ok", true}});
    });
    // {"closed": bool} and/or {"next_after_s": any JSON value, null to leave it out}.
    control.add("POST", "/__control/coach", [&switches](Exchange& exchange) {
        const QJsonObject body = exchange.json();
        if (body.contains("closed")) switches.setCoachClosed(requiredBool(body, "closed"));
        if (body.contains("next_after_s")) switches.setCoachNextAfter(body.value("next_after_s"));
        return Reply::json(QJsonObject{{"ok", true}});
    });
    control.add("GET", "/__control/todos", [&store](Exchange& exchange) {
        const std::string scope = exchange.query("scope");
        if (scope.empty()) throw HttpError(400, "scope is missing");
        QJsonArray list;
        for (const Store::Todo& todo : store.todos(scope, Store::Which::All))
            list.append(todoJson(todo));
        return Reply::json(list);
    });
    control.add("POST", "/__control/review", [&switches](Exchange& exchange) {
        const QJsonValue delay = exchange.json().value("delay_ms");
        if (!delay.isDouble() || delay.toInteger(-1) < 0)
            throw HttpError(400, "delay_ms is missing or negative");
        switches.setReviewDelay(std::chrono::milliseconds(delay.toInteger()));
        return Reply::json(QJsonObject{{"ok", true}});
    });
    control.add("POST", "/__control/wrap", [&switches](Exchange& exchange) {
        switches.setWrapScript(wrapScriptFrom(exchange.json()));
        return Reply::json(QJsonObject{{"ok", true}});
    });
    control.add("GET", "/__control/calls", [&store](Exchange&) {
        QJsonArray list;
        for (const Store::Call& call : store.calls())
            list.append(callJson(call));
        return Reply::json(list);
    });
}
