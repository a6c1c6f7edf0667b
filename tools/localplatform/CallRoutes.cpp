// A recording's way onto the platform: the call created from its payload, its audio, the notes step, the
// call's detail with the review, a move to another destination, and the route scores that suggest where it
// goes.
#include "Json.h"
#include "RouteScores.h"
#include "RouteTable.h"
#include "Routes.h"
#include "Store.h"
#include "Switches.h"

#include <QJsonDocument>
#include <algorithm>
#include <charconv>
#include <chrono>
#include <fstream>

namespace {

using Kind = Destination::Kind;

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

std::int64_t nowMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::filesystem::path audioFile(const std::filesystem::path& audioDir, std::int64_t number) {
    return audioDir / ("rec-" + std::to_string(number) + ".audio");
}

QJsonObject fieldsOf(const Store::Call& call) {
    return QJsonDocument::fromJson(QByteArray::fromStdString(call.fields)).object();
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

// The keys a call cannot be made without, each of its type; the rest of the payload is kept as it came.
void checkPayload(const QJsonObject& payload) {
    static const std::pair<const char*, QJsonValue::Type> required[] = {
        {"title", QJsonValue::String},       {"started", QJsonValue::String}, {"ended", QJsonValue::String},
        {"participants", QJsonValue::Array}, {"shots", QJsonValue::Array},    {"pins", QJsonValue::Array},
        {"expect_audio", QJsonValue::Bool}};
    for (const auto& [key, type] : required)
        if (payload.value(key).type() != type)
            throw HttpError(400, std::string(key) + " is missing or of the wrong type");
}

// A payload's images without their bytes: the detail is polled often and needs only what was sent.
QJsonArray withoutImages(const QJsonArray& items) {
    QJsonArray result;
    for (const QJsonValue item : items) {
        QJsonObject object = item.toObject();
        object.remove("jpeg");
        result.append(object);
    }
    return result;
}

// The suggestions of a processed call's review as first written: always the same for the same call, in every
// state a client has to tell apart, one without a title and one with neither number nor state.
QJsonArray suggestionsOf(const QJsonObject& fields) {
    const QString title = fields.value("title").toString();
    QStringList people;
    for (const QJsonValue participant : fields.value("participants").toArray())
        people << participant.toString();
    const QString who = people.isEmpty() ? QStringLiteral("the team") : people.join(QStringLiteral(", "));
    return QJsonArray{
        QJsonObject{{"i", 1},
                    {"title", QStringLiteral("Send the notes of %1 to %2").arg(title, who)},
                    {"why", "agreed at the end of the call"},
                    {"state", "open"}},
        QJsonObject{{"i", 2}, {"title", "Book the follow-up"}, {"why", 2}, {"state", "accepted"}},
        QJsonObject{{"i", "3"}, {"title", "Drop the old draft"}, {"state", "dismissed"}},
        QJsonObject{{"i", 4}, {"title", "  "}, {"state", "open"}},
        QJsonObject{{"title", "Write down the decision"}, {"why", "nobody owns it yet"}}};
}

// The notes of a processed call, its suggestions in the states decided since.
QJsonObject reviewOf(const QJsonObject& fields, const std::map<std::string, std::string>& decided) {
    const QString title = fields.value("title").toString();
    QJsonArray suggestions;
    for (const QJsonValue item : suggestionsOf(fields)) {
        QJsonObject suggestion = item.toObject();
        const auto state = decided.find(textOf(suggestion.value("i")));
        if (state != decided.end()) suggestion.insert("state", qtext(state->second));
        suggestions.append(suggestion);
    }
    return {{"summary", QStringLiteral("Notes of \u201c%1\u201d.").arg(title)}, {"suggestions", suggestions}};
}

// The call with its review written once the review delay has passed since the notes started.
Store::Call reviewed(Store& store, const Switches& switches, Store::Call call) {
    if (call.state == "processing" && nowMs() - *call.processingSince >= switches.reviewDelay().count()) {
        store.setCallState(call.number, "done");
        call.state = "done";
    }
    return call;
}

Reply createCall(Store& store, Exchange& exchange) {
    const QJsonObject payload = exchange.json();
    checkPayload(payload);
    const std::int64_t number = store.createCall(
        exchange.destination().scope, QJsonDocument(payload).toJson(QJsonDocument::Compact).toStdString());
    return Reply::json(QJsonObject{{"id", qtext(callId(number))}});
}

Reply receiveAudio(Store& store, Exchange& exchange, const std::filesystem::path& audioDir) {
    const Store::Call call = requireCall(store, exchange);
    std::filesystem::create_directories(audioDir);
    const std::filesystem::path file = audioFile(audioDir, call.number);
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

Reply startProcessing(Store& store, const Exchange& exchange) {
    const Store::Call call = requireCall(store, exchange);
    if (fieldsOf(call).value("expect_audio").toBool() && call.audioBytes == 0)
        return Reply::error(409, "no audio yet");
    // A second request changes nothing: the notes already under way are the ones that count.
    if (!call.processingSince) store.startProcessing(call.number, nowMs());
    return Reply::json(QJsonObject{{"ok", true}, {"status", "processing"}});
}

Reply callDetail(Store& store, const Switches& switches, const Exchange& exchange) {
    const Store::Call call = reviewed(store, switches, requireCall(store, exchange));
    const QJsonObject fields = fieldsOf(call);
    QJsonObject detail = fields;
    detail.insert("id", qtext(callId(call.number)));
    detail.insert("status", qtext(call.state));
    detail.insert("audio_bytes", qint64(call.audioBytes));
    detail.insert("shots", withoutImages(fields.value("shots").toArray()));
    detail.insert("pins", withoutImages(fields.value("pins").toArray()));
    detail.insert("review", call.state == "done"
                                ? QJsonValue(reviewOf(fields, store.decidedSuggestions(call.number)))
                                : QJsonValue());
    return Reply::json(detail);
}

// Accepting makes the suggestion's to-do once; a suggestion decided the other way before stays so (409).
Reply decideSuggestion(Store& store, const Switches& switches, const Exchange& exchange,
                       Store::Decision decision) {
    const Store::Call call = reviewed(store, switches, requireCall(store, exchange));
    if (call.state != "done") throw HttpError(404, "no review of " + callId(call.number) + " yet");
    const std::string& id = exchange.param("sid");
    for (const QJsonValue item : suggestionsOf(fieldsOf(call))) {
        if (textOf(item["i"]) != id) continue;
        const Store::Suggestion suggestion{id, textOf(item["title"]), textOf(item["state"])};
        const std::string state = store.decideSuggestion(call, suggestion, decision);
        if (state != Store::stateAfter(decision))
            return Reply::error(409, "suggestion " + id + " is " + state);
        return Reply::json(QJsonObject{{"ok", true}, {"state", qtext(state)}});
    }
    throw HttpError(404, "no suggestion " + id + " in " + callId(call.number));
}

// The scope of a destination word for the caller's account: "personal" or the slug of a project with a seat.
std::string scopeOf(Store& store, std::int64_t account, const std::string& word, const Switches& switches) {
    if (word == "personal") {
        if (switches.personalClosed()) throw HttpError(404, "Personal is not open yet");
        return "personal:" + std::to_string(account);
    }
    for (const Store::Membership& seat : store.memberships(account))
        if (seat.slug == word) return "project:" + word;
    throw HttpError(422, "no destination " + word);
}

// Moving to another destination gives the call a new id there, and its notes run anew where it now lives.
Reply moveCall(Store& store, const Switches& switches, Exchange& exchange,
               const std::filesystem::path& audioDir) {
    const Store::Call call = requireCall(store, exchange);
    const std::string to = requiredText(exchange.json(), "to");
    const std::string scope = scopeOf(store, *exchange.destination().account, to, switches);
    if (scope == call.scope) return Reply::error(409, "the call is in " + to + " already");
    const std::int64_t moved = store.moveCall(call.number, scope);
    if (std::filesystem::exists(audioFile(audioDir, call.number)))
        std::filesystem::rename(audioFile(audioDir, call.number), audioFile(audioDir, moved));
    if (call.processingSince) store.startProcessing(moved, nowMs());
    const QString id = qtext(callId(moved));
    return Reply::json(QJsonObject{{"id", id}, {"call", QJsonObject{{"id", id}, {"dest", qtext(to)}}}});
}

Reply routeScore(Store& store, Exchange& exchange) {
    const QJsonObject body = exchange.json();
    RouteQuery query{body.value("title").toString(), {}, body.value("text").toString()};
    for (const QJsonValue participant : body.value("participants").toArray())
        query.participants << participant.toString();
    const std::optional<Store::Project> project = store.project(exchange.destination().name);
    if (!project) throw HttpError(404, "no project " + exchange.destination().name);
    const RouteScore score = scoreRoute(*project, query);
    QJsonArray reasons;
    for (const std::string& reason : score.reasons)
        reasons.append(qtext(reason));
    return Reply::json(QJsonObject{{"score", score.score}, {"reasons", reasons}});
}

// Personal's calls answer 404 while it is closed, so that a client keeps its recording.
Handler unlessPersonalClosed(const Switches& switches, Handler handler) {
    return [&switches, handler = std::move(handler)](Exchange& exchange) {
        if (exchange.destination().kind == Kind::Personal && switches.personalClosed())
            return Reply::error(404, "Personal is not open yet");
        return handler(exchange);
    };
}

// Routes of the platform's own destinations, which a legacy workspace's older server lacks.
Handler onlyIn(std::initializer_list<Kind> kinds, Handler handler) {
    return [accepted = std::vector<Kind>(kinds), handler = std::move(handler)](Exchange& exchange) {
        if (std::find(accepted.begin(), accepted.end(), exchange.destination().kind) == accepted.end())
            return Reply::error(404, "not found");
        return handler(exchange);
    };
}

} // namespace

void addCallRoutes(RouteTable& routes, Store& store, const Switches& switches,
                   const std::filesystem::path& audioDir) {
    const auto calls = [&](const char* method, std::string_view path, Handler handler) {
        routes.add(method, path, unlessPersonalClosed(switches, std::move(handler)));
    };
    calls("POST", "/calls", [&store](Exchange& exchange) { return createCall(store, exchange); });
    calls("POST", "/calls/{id}/audio",
          [&store, audioDir](Exchange& exchange) { return receiveAudio(store, exchange, audioDir); });
    calls("POST", "/calls/{id}/process",
          [&store](Exchange& exchange) { return startProcessing(store, exchange); });
    calls("GET", "/calls/{id}",
          [&store, &switches](Exchange& exchange) { return callDetail(store, switches, exchange); });
    calls("POST", "/calls/{id}/move",
          onlyIn({Kind::Project, Kind::Personal}, [&, audioDir](Exchange& exchange) {
              return moveCall(store, switches, exchange, audioDir);
          }));
    for (const auto& [verb, decision] :
         {std::pair("accept", Store::Decision::Accept), std::pair("dismiss", Store::Decision::Dismiss)})
        calls("POST", std::string("/calls/{id}/review/{sid}/") + verb,
              onlyIn({Kind::Project, Kind::Personal}, [&store, &switches, decision](Exchange& exchange) {
                  return decideSuggestion(store, switches, exchange, decision);
              }));
    routes.add("POST", "/route/score",
               onlyIn({Kind::Project}, [&store](Exchange& exchange) { return routeScore(store, exchange); }));
}
