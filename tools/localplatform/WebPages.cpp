#include "WebPages.h"

#include "WebText.h"

namespace {

const std::string darkStyle = "body{background:rgb(7, 8, 11);color:#a3a8b0}h1{color:#f3f5f8}a{color:#c6ff3d}";
const std::string lightStyle =
    "body{background:rgb(251, 251, 250);color:#3a3f47}h1{color:#14171c}a{color:#1f5fd1}";
const std::string commonStyle =
    "body{margin:0;padding:16px 24px;font:16px system-ui,sans-serif}h1{font-size:22px;margin:0 0 12px}"
    "nav a{display:block;max-width:520px;margin:4px 0;padding:8px 12px;border:1px solid;border-radius:6px;"
    "font-size:20px;line-height:28px;text-decoration:none}"
    "label{display:block;margin:8px 0}input,button{font-size:16px;padding:6px 8px}";

// Large block links first, so that a test finds each by its id and clicks it without scrolling.
const std::string boardLinks =
    "<nav>\n"
    "<a id=\"foreign\" href=\"https://example.com/elsewhere\">Another site</a>\n"
    "<a id=\"popup-foreign\" href=\"#\" onclick=\"window.open('https://example.com/popup'); return false\">"
    "Another site in a pop-up</a>\n"
    "<a id=\"popup-board\" href=\"#\" onclick=\"window.open('/app/p/brevik/'); return false\">"
    "The Brevik board in a pop-up</a>\n"
    "<a id=\"deeplink\" href=\"orvane://p/noctal\">The Noctal board by its app link</a>\n"
    "<a id=\"download\" href=\"/app/files/notes.pdf\">Download notes.pdf</a>\n"
    "<a id=\"download-cut\" href=\"/app/files/cut.bin\">Download cut.bin, which breaks off</a>\n"
    "<a id=\"signout\" href=\"/signout\">Sign out</a>\n"
    "</nav>\n";

// Reads the route and card from the hash at load and at every change; the slug comes from the body's data.
const std::string hashScript = R"js(<script>
(function () {
  function render() {
    var hash = location.hash, query = hash.indexOf('?');
    var card = query < 0 ? null : new URLSearchParams(hash.slice(query + 1)).get('card');
    document.getElementById('route').textContent = (query < 0 ? hash : hash.slice(0, query)) || '(none)';
    document.getElementById('card').textContent = card || '(none)';
    document.title = 'Board ' + document.body.dataset.slug + (hash ? ' ' + hash : '');
  }
  addEventListener('hashchange', render);
  render();
})();
</script>
)js";

std::string document(const std::string& title, const std::string& style, const std::string& bodyAttributes,
                     const std::string& content) {
    return "<!doctype html>\n<html><head><meta charset=\"utf-8\"><title>" + htmlEscaped(title) +
           "</title>\n<style>" + commonStyle + style + "</style></head>\n<body" + bodyAttributes + ">\n<h1>" +
           htmlEscaped(title) + "</h1>\n" + content + "</body></html>\n";
}

std::string boardPage(const std::string& title, bool light, const std::string& bodyAttributes = {},
                      const std::string& content = {}) {
    return document(title, light ? lightStyle : darkStyle, bodyAttributes, boardLinks + content);
}

} // namespace

namespace WebPages {

std::string home(bool light) {
    return boardPage("Board home", light);
}

std::string project(const std::string& slug, bool light) {
    return boardPage(
        "Board " + slug, light, " data-slug=\"" + htmlEscaped(slug) + "\"",
        "<p>Route: <output id=\"route\"></output></p>\n<p>Card: <output id=\"card\"></output></p>\n" +
            hashScript);
}

std::string recording(const std::string& id, bool light) {
    return boardPage("Recording " + id, light);
}

std::string signIn(const std::string& next, const std::string& notice) {
    const std::string shown = notice.empty() ? "" : "<p id=\"notice\">" + htmlEscaped(notice) + "</p>\n";
    return document(
        "Sign in to Orvane", darkStyle, {},
        shown +
            "<form method=\"post\" action=\"/signin\">\n"
            "<input type=\"hidden\" name=\"next\" value=\"" +
            htmlEscaped(next) +
            "\">\n"
            "<label>E-mail <input id=\"email\" name=\"email\" type=\"text\" autofocus></label>\n"
            "<label>Password <input id=\"password\" name=\"password\" type=\"password\"></label>\n"
            "<button id=\"submit\" type=\"submit\">Sign in</button>\n"
            "</form>\n");
}

} // namespace WebPages
