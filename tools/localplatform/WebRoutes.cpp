#include "Clock.h"
#include "Destinations.h"
#include "Json.h"
#include "RouteTable.h"
#include "Routes.h"
#include "Store.h"
#include "WebPages.h"
#include "WebText.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <random>

namespace {

const std::string sessionCookie = "ov_sess";
constexpr std::int64_t tokenLifetime = 60; // seconds
// The download that breaks off: the length it declares, and where the connection ends.
constexpr std::uint64_t cutDeclared = 1024 * 1024;
constexpr std::size_t cutSent = 64 * 1024;

// A small document that PDF readers open: one empty page.
const std::string notesPdf = "%PDF-1.4\n"
                             "1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n"
                             "2 0 obj<</Type/Pages/Kids[3 0 R]/Count 1>>endobj\n"
                             "3 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 200 100]>>endobj\n"
                             "trailer<</Root 1 0 R>>\n"
                             "%%EOF\n";

// 128 random bits as hex: cookies and one-time tokens are secrets, unlike the reproducible device codes.
std::string randomSecret() {
    std::random_device random;
    std::string secret;
    for (int i = 0; i < 4; ++i) {
        std::array<char, 9> part{};
        std::snprintf(part.data(), part.size(), "%08x", static_cast<unsigned>(random()));
        secret += part.data();
    }
    return secret;
}

// Where a sign-in may send the browser: a path on this site. "//host" and "/\host" name another host
// (browsers read the backslash as a slash), and a control character would break the Location header.
std::string landing(const std::optional<std::string>& next) {
    const auto control = [](unsigned char c) { return c < 0x20 || c == 0x7f; };
    if (!next || !next->starts_with('/') || next->starts_with("//") || next->starts_with("/\\") ||
        std::any_of(next->begin(), next->end(), control))
        return "/app";
    return *next;
}

Reply attachment(const std::string& name, std::string body, const std::string& contentType) {
    Reply reply{200, std::move(body), contentType};
    reply.withHeader("Content-Disposition", "attachment; filename=\"" + name + "\"");
    return reply;
}

// A new web session for the account, its cookie set on the way to the landing page.
Reply signIn(Store& store, std::int64_t account, const std::string& via, int status,
             const std::optional<std::string>& next) {
    const std::string id = randomSecret();
    store.addWebSession({id, account, via});
    Reply reply = Reply::redirect(status, landing(next));
    reply.withHeader("Set-Cookie", sessionCookie + "=" + id + "; Path=/; HttpOnly; SameSite=Lax");
    return reply;
}

// A page of the board for a browser with a live session; without one the browser goes to the sign-in form,
// which brings it back to this path and query.
using PageMaker = std::string (*)(const std::string& name, bool light);
Handler boardPage(Store& store, PageMaker make, const char* param = "") {
    return [&store, make, param](Exchange& exchange) {
        if (!store.webSessionAccount(exchange.cookie(sessionCookie)))
            return Reply::redirect(302, "/signin?next=" + percentEncoded(exchange.target(), "/"));
        return Reply::html(make(exchange.param(param), exchange.query("light") == "1"));
    };
}

QJsonObject sessionJson(const Store::WebSession& session) {
    return {{"id", qtext(session.id)}, {"account", qint64(session.account)}, {"via", qtext(session.via)}};
}

} // namespace

void addWebRoutes(RouteTable& routes, RouteTable& control, Store& store) {
    routes.add("GET", "/app",
               boardPage(store, [](const std::string&, bool light) { return WebPages::home(light); }));
    routes.add("GET", "/app/p/{slug}", boardPage(store, WebPages::project, "slug"));
    routes.add("GET", "/app/r/{id}", boardPage(store, WebPages::recording, "id"));
    routes.add("GET", "/app/files/notes.pdf",
               [](Exchange&) { return attachment("notes.pdf", notesPdf, "application/pdf"); });
    routes.add("GET", "/app/files/cut.bin", [](Exchange&) {
        Reply reply = attachment("cut.bin", std::string(cutSent, 'x'), "application/octet-stream");
        reply.declaredLength = cutDeclared;
        return reply;
    });

    routes.add("GET", "/signin", [](Exchange& exchange) {
        const bool signedOut = exchange.query("out") == "1";
        return Reply::html(WebPages::signIn(exchange.query("next"), signedOut ? "You are signed out." : ""));
    });
    // Any account's e-mail with a password that is not empty.
    routes.add("POST", "/signin", [&store](Exchange& exchange) {
        std::map<std::string, std::string> form = exchange.form();
        const std::optional<Store::Account> account = store.accountByEmail(form["email"]);
        if (!account || form["password"].empty())
            return Reply::html(WebPages::signIn(form["next"], "That e-mail and password do not sign in."));
        return signIn(store, account->id, "form", 303, form["next"]);
    });
    routes.add("GET", "/signout", [&store](Exchange& exchange) {
        store.endWebSession(exchange.cookie(sessionCookie));
        Reply reply = Reply::redirect(303, "/signin?out=1");
        reply.withHeader("Set-Cookie", sessionCookie + "=; Path=/; Max-Age=0; HttpOnly; SameSite=Lax");
        return reply;
    });

    // The app trades its account key for a link that signs the browser in once.
    routes.add("POST", "/auth/app-session", [&store](Exchange& exchange) {
        const Store::Account account = requireAccount(store, exchange);
        const std::optional<std::string> next = optionalString(exchange.json(), "next");
        const std::string token = randomSecret();
        store.addAppToken(token, {account.id, next}, secondsNow() + tokenLifetime);
        return Reply::json(QJsonObject{{"url", qtext("/auth/app?t=" + token)}});
    });
    routes.add("GET", "/auth/app", [&store](Exchange& exchange) {
        const std::optional<Store::AppToken> grant = store.redeemAppToken(exchange.query("t"), secondsNow());
        if (!grant) return Reply::redirect(302, "/signin?next=/app");
        return signIn(store, grant->account, "app-session", 302, grant->next);
    });
    routes.add("POST", "/auth/signout", [&store](Exchange& exchange) {
        store.endWebSession(exchange.cookie(sessionCookie));
        return Reply::json(QJsonObject{});
    });

    control.add("GET", "/__control/web-sessions", [&store](Exchange&) {
        QJsonArray list;
        for (const Store::WebSession& session : store.webSessions())
            list.append(sessionJson(session));
        return Reply::json(list);
    });
}
