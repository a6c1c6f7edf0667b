#include "Generation.h"
#include "Json.h"
#include "RouteTable.h"
#include "Routes.h"
#include "Store.h"

#include <QJsonDocument>
#include <charconv>
#include <fstream>

namespace {

constexpr std::string_view callPrefix = "rec:";

std::string callId(std::int64_t number) {
    return std::string(callPrefix) + std::to_string(number);
}

// The n of a call id "rec:<n>"; nothing for any other text.
std::optional<std::int64_t> callNumber(std::string_view id) {
    if (!id.starts_with(callPrefix)) return std::nullopt;
    id.remove_prefix(callPrefix.size());
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(id.data(), id.data() + id.size(), number);
    if (error != std::errc() || end != id.data() + id.size()) return std::nullopt;
    return number;
}

// The call in the exchange's destination; 404 for an id of another form or of another destination.
Store::Call requireCall(Store& store, const Exchange& exchange) {
    const std::string& id = exchange.param("id");
    const std::optional<std::int64_t> number = callNumber(id);
    std::optional<Store::Call> call =
        number ? store.call(exchange.destination().scope, *number) : std::nullopt;
    if (!call) throw HttpError(404, "no call " + id);
    return std::move(*call);
}

std::string requiredText(const QJsonObject& body, const char* key) {
    const std::string text = textOf(body.value(key));
    if (text.empty()) throw HttpError(400, std::string(key) + " is missing");
    return text;
}

QJsonObject todoJson(const Store::Todo& todo) {
    QJsonObject item{{"n", qint64(todo.n)},
                     {"id", todo.numericId ? QJsonValue(std::stod(todo.id)) : QJsonValue(qtext(todo.id))},
                     {"title", qtext(todo.title)},
                     {"status", qtext(todo.status)}};
    if (todo.topic) item.insert("topic", qtext(*todo.topic));
    if (todo.effort) item.insert("effort", qtext(*todo.effort));
    return item;
}

// The end-of-day job is done at the second look: a summary of the day's spans and the to-dos still open.
QJsonObject finishedWrap(Store& store, const std::string& scope, const std::string& day) {
    const std::int64_t spans = store.workdaySpanCount(scope, day);
    const std::vector<Store::Todo> open = store.todos(scope);
    QJsonArray tomorrow;
    for (std::size_t i = 0; i < std::min<std::size_t>(2, open.size()); ++i)
        tomorrow.append(qtext(open[i].title));
    return {{"status", "done"},
            {"summary", qtext(std::to_string(spans) + " spans of work on " + day + ".")},
            {"highlights", QJsonArray{qtext(std::to_string(spans) + " spans of focused work"),
                                      qtext(std::to_string(open.size()) + " to-dos still open")}},
            {"tomorrow", tomorrow},
            {"cards", QJsonArray{QJsonObject{{"id", "card-1"}, {"title", "Follow up on today's calls"}},
                                 QJsonObject{{"id", 2}}}}};
}

Reply setTodoStatus(Store& store, const Exchange& exchange, const char* status) {
    if (!store.setTodoStatus(exchange.destination().scope, exchange.param("id"), status))
        return Reply::error(404, "no to-do " + exchange.param("id"));
    return Reply::json(QJsonObject{{"ok", true}, {"status", status}});
}

Reply receiveAudio(Store& store, Exchange& exchange, const std::filesystem::path& audioDir) {
    const Store::Call call = requireCall(store, exchange);
    std::filesystem::create_directories(audioDir);
    const std::filesystem::path file = audioDir / ("rec-" + std::to_string(call.number) + ".audio");
    const std::filesystem::path partial = file.string() + ".part";
    std::ofstream out(partial, std::ios::binary | std::ios::trunc);
    const std::uint64_t bytes = exchange.receive([&out](const char* data, std::size_t size) {
        out.write(data, std::streamsize(size));
        return bool(out);
    });
    out.close();
    if (!out) throw HttpError(500, "cannot store the audio");
    std::filesystem::rename(partial, file);
    store.setCallAudio(call.number, std::int64_t(bytes));
    return Reply::json(QJsonObject{{"ok", true}, {"bytes", qint64(bytes)}});
}

Reply callDetail(Store& store, const Exchange& exchange) {
    const Store::Call call = requireCall(store, exchange);
    QJsonObject detail = QJsonDocument::fromJson(QByteArray::fromStdString(call.fields)).object();
    detail.insert("id", qtext(callId(call.number)));
    detail.insert("status", qtext(call.state));
    detail.insert("audio_bytes", qint64(call.audioBytes));
    // Processing ends after it has been seen once, so a watcher sees both states.
    if (call.state == "processing") store.setCallState(call.number, "processed");
    return Reply::json(detail);
}

} // namespace

void addDestinationRoutes(RouteTable& routes, Store& store, const Generation& generation,
                          const std::filesystem::path& audioDir) {
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
    routes.add("POST", "/tasks", [&store](Exchange& exchange) {
        const QJsonObject body = exchange.json();
        const QJsonValue notes = body.value("notes");
        const std::int64_t id =
            store.addTask(exchange.destination().scope, requiredText(body, "title"),
                          notes.isString() ? std::optional(notes.toString().toStdString()) : std::nullopt);
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
    routes.add("GET", "/workday/wrap", [&store, &generation](Exchange& exchange) {
        generation.requireWorkday();
        const std::string day = exchange.query("day");
        const std::optional<std::int64_t> polls = store.pollWrap(exchange.destination().scope, day);
        if (!polls) return Reply::json(QJsonObject{{"status", "none"}});
        if (*polls == 1) return Reply::json(QJsonObject{{"status", "running"}});
        return Reply::json(finishedWrap(store, exchange.destination().scope, day));
    });
    routes.add("POST", "/calls", [&store](Exchange& exchange) {
        const QJsonObject fields = exchange.json();
        const std::int64_t number = store.createCall(
            exchange.destination().scope, QJsonDocument(fields).toJson(QJsonDocument::Compact).toStdString());
        return Reply::json(QJsonObject{{"id", qtext(callId(number))}});
    });
    routes.add("POST", "/calls/{id}/audio",
               [&store, audioDir](Exchange& exchange) { return receiveAudio(store, exchange, audioDir); });
    routes.add("POST", "/calls/{id}/process", [&store](Exchange& exchange) {
        const Store::Call call = requireCall(store, exchange);
        if (call.audioBytes == 0) return Reply::error(409, "no audio yet");
        store.setCallState(call.number, "processing");
        return Reply::json(QJsonObject{{"ok", true}, {"status", "processing"}});
    });
    routes.add("GET", "/calls/{id}", [&store](Exchange& exchange) { return callDetail(store, exchange); });
}
