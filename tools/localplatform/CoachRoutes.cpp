// Live tips: the text a running recording read off the screen, answered with a hint when a word the
// platform knows about is in it, and with how soon it wants the next text.
#include "Json.h"
#include "RouteTable.h"
#include "Routes.h"
#include "Switches.h"

#include <QJsonArray>

namespace {

struct Hint {
    const char* word;
    const char* title;
    const char* body;
    const char* cardTitle; // nullptr: a tip without a card
    const char* cardWhy;
};

// What the platform knows to say, by a word in the new text; the first word found wins.
constexpr Hint hints[] = {
    {"pricing", "Their pricing leads with the annual plan", "Worth comparing with how ours reads on mobile.",
     "Compare our pricing page with theirs", "Seen on their pricing page during a recording."},
    {"leaderboard", "The leaderboard filter shipped last week", "Mention it if the filter comes up.", nullptr,
     nullptr},
};

Reply coachLive(const Switches& switches, Exchange& exchange) {
    if (switches.coachClosed()) return Reply::error(404, "not found");
    const QJsonObject body = exchange.json();
    const QJsonValue ocr = body.value("ocr");
    if (!ocr.isArray() || !body.value("started").isString() || !body.value("t").isDouble())
        throw HttpError(400, "started, t and ocr are required");
    QString text;
    for (const QJsonValue& entry : ocr.toArray())
        text += entry.toObject().value("text").toString().toLower() + QLatin1Char('\n');

    QJsonObject reply;
    if (const QJsonValue next = switches.coachNextAfter(); !next.isNull()) reply.insert("next_after_s", next);
    for (const Hint& hint : hints) {
        if (!text.contains(QLatin1String(hint.word))) continue;
        QJsonObject tip{{"title", hint.title}, {"body", hint.body}};
        if (hint.cardTitle) tip.insert("card", QJsonObject{{"title", hint.cardTitle}, {"why", hint.cardWhy}});
        reply.insert("tip", tip);
        break;
    }
    return Reply::json(reply);
}

} // namespace

void addCoachRoutes(RouteTable& routes, const Switches& switches) {
    routes.add("POST", "/coach/live",
               [&switches](Exchange& exchange) { return coachLive(switches, exchange); });
}
