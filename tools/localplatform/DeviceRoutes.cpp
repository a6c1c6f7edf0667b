#include "Clock.h"
#include "Json.h"
#include "RouteTable.h"
#include "Routes.h"
#include "Store.h"
#include "WebText.h"

namespace {

constexpr std::int64_t codeLifetime = 600; // seconds
constexpr int pollInterval = 1;            // seconds; the client never polls faster
// The account that the approval page, and the control route without an e-mail, sign in.
const std::string pageAccount = "dev@orvane.test";

std::string page(const std::string& title, const std::string& content) {
    return "<!doctype html>\n<html><head><meta charset=\"utf-8\"><title>" + htmlEscaped(title) +
           "</title></head>\n<body><h1>" + htmlEscaped(title) + "</h1>\n" + content + "\n</body></html>\n";
}

Reply approvalPage(const Exchange& exchange) {
    const std::string code = exchange.query("code");
    const std::string action = "?code=" + percentEncoded(code);
    return Reply::html(page("Sign in to Orvane", "<p>Is this the code that Orvane shows? <strong>" +
                                                     htmlEscaped(code) +
                                                     "</strong></p>\n"
                                                     "<form method=\"post\" action=\"/app/device/approve" +
                                                     htmlEscaped(action) +
                                                     "\"><button type=\"submit\">Approve</button></form>\n"
                                                     "<form method=\"post\" action=\"/app/device/decline" +
                                                     htmlEscaped(action) +
                                                     "\"><button type=\"submit\">Decline</button></form>\n"
                                                     "<p>Approving signs in as " +
                                                     htmlEscaped(pageAccount) + ".</p>"));
}

Reply pollReply(Store& store, Exchange& exchange) {
    const std::string deviceCode = textOf(exchange.json().value("device_code"));
    if (deviceCode.empty()) return Reply::error(400, "device_code is missing");
    const std::optional<Store::DeviceGrant> grant = store.deviceByCode(deviceCode);
    if (!grant) return Reply::error(404, "unknown device code");
    switch (grant->state) {
    case Store::DeviceState::Approved: {
        const std::optional<Store::Account> account = store.account(grant->accountId.value_or(0));
        if (!account || !grant->key) return Reply::error(500, "the approved sign-in lost its account");
        return Reply::json(QJsonObject{
            {"status", "ok"},
            {"key", qtext(*grant->key)},
            {"account", QJsonObject{{"email", qtext(account->email)}, {"name", qtext(account->name)}}}});
    }
    case Store::DeviceState::Denied:
        return Reply::json(QJsonObject{{"status", "denied"}});
    case Store::DeviceState::Pending:
        break;
    }
    return Reply::json(QJsonObject{{"status", secondsNow() > grant->expiresAt ? "expired" : "pending"}});
}

} // namespace

void addDeviceRoutes(RouteTable& routes, RouteTable& control, Store& store, bool appPaths) {
    const auto start = [&store](Exchange& exchange) {
        const QJsonObject body = exchange.json();
        const Store::DeviceGrant grant = store.startDevice(
            textOf(body.value("client")), textOf(body.value("name")), secondsNow(), codeLifetime);
        return Reply::json(
            QJsonObject{{"device_code", qtext(grant.deviceCode)},
                        {"user_code", qtext(grant.userCode)},
                        {"verify_url", qtext("/app/device?code=" + percentEncoded(grant.userCode))},
                        {"interval", pollInterval},
                        {"expires_in", qint64(codeLifetime)}});
    };
    const auto poll = [&store](Exchange& exchange) { return pollReply(store, exchange); };
    for (const char* prefix : {"/device", "/app/api/platform/device"}) {
        if (appPaths && std::string_view(prefix) == "/device") continue;
        routes.add("POST", std::string(prefix) + "/start", start);
        routes.add("POST", std::string(prefix) + "/poll", poll);
    }

    routes.add("GET", "/app/device", approvalPage);
    routes.add("POST", "/app/device/approve", [&store](Exchange& exchange) {
        const std::optional<Store::Account> account = store.accountByEmail(pageAccount);
        if (!account || !store.approveDevice(exchange.query("code"), account->id))
            return Reply::html(page("Unknown code", "<p>No sign-in waits for this code.</p>"), 404);
        return Reply::html(page("Signed in", "<p>Orvane is signed in. You can close this page.</p>"));
    });
    routes.add("POST", "/app/device/decline", [&store](Exchange& exchange) {
        if (!store.denyDevice(exchange.query("code")))
            return Reply::html(page("Unknown code", "<p>No sign-in waits for this code.</p>"), 404);
        return Reply::html(page("Declined", "<p>The sign-in was declined.</p>"));
    });

    control.add("POST", "/__control/device/approve", [&store](Exchange& exchange) {
        const QJsonObject body = exchange.json();
        const std::string email = body.contains("email") ? textOf(body.value("email")) : pageAccount;
        const std::optional<Store::Account> account = store.accountByEmail(email);
        if (!account) return Reply::error(404, "no account " + email);
        if (!store.approveDevice(textOf(body.value("user_code")), account->id))
            return Reply::error(404, "no pending sign-in with this code");
        return Reply::json(QJsonObject{{"ok", true}});
    });
    control.add("POST", "/__control/device/deny", [&store](Exchange& exchange) {
        if (!store.denyDevice(textOf(exchange.json().value("user_code"))))
            return Reply::error(404, "no pending sign-in with this code");
        return Reply::json(QJsonObject{{"ok", true}});
    });
}
