#include "os/linux/X11WindowSystem.h"

#include "os/linux/AppIdentities.h"

#include <QLoggingCategory>
#include <QSet>
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <vector>
#include <xcb/res.h>
#include <xcb/xcb_ewmh.h>
#include <xcb/xcb_icccm.h>

Q_LOGGING_CATEGORY(lcWindows, "windows")

namespace os {

struct X11WindowSystem::Connection {
    xcb_connection_t* xcb = nullptr;
    xcb_ewmh_connection_t ewmh{};
    int screen = 0;
    bool ewmhReady = false;
    bool hasResources = false; // the X-Resource extension, which knows the process of every local client

    Connection() : xcb(xcb_connect(nullptr, &screen)) {
        if (xcb_connection_has_error(xcb)) return;
        ewmhReady = xcb_ewmh_init_atoms_replies(&ewmh, xcb_ewmh_init_atoms(xcb, &ewmh), nullptr) != 0;
        const xcb_query_extension_reply_t* res = xcb_get_extension_data(xcb, &xcb_res_id);
        hasResources = res && res->present;
    }
    ~Connection() {
        if (ewmhReady) xcb_ewmh_connection_wipe(&ewmh);
        xcb_disconnect(xcb);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool usable() const { return ewmhReady && !xcb_connection_has_error(xcb); }
};

// Everything read of one window.
struct X11WindowSystem::Properties {
    quint32 id = 0;
    qint32 pid = 0;
    QString title;
    QString windowClass;
    bool normal = true;
    bool hidden = false;
};

namespace {

// Reads strings as UTF-8: a broken sequence becomes U+FFFD instead of failing the window.
QString utf8(const char* data, uint32_t length) {
    QString text = QString::fromUtf8(data, qsizetype(length));
    // Some clients end the value with a NUL; it is no part of the title.
    while (text.endsWith(QChar(0)))
        text.chop(1);
    return text;
}

} // namespace

X11WindowSystem::X11WindowSystem(AppIdentities& identities) : m_identities(identities) {}
X11WindowSystem::~X11WindowSystem() = default;

X11WindowSystem::Connection* X11WindowSystem::connection() {
    if (m_connection && m_connection->usable()) return m_connection.get();
    if (m_connection) qCWarning(lcWindows) << "the connection to the X server broke; connecting again";
    m_connection = std::make_unique<Connection>();
    if (m_connection->usable()) return m_connection.get();
    m_connection.reset();
    return nullptr;
}

std::vector<X11WindowSystem::Properties> X11WindowSystem::read(Connection& c,
                                                               const std::vector<quint32>& ids) {
    xcb_ewmh_connection_t* e = &c.ewmh;
    struct Cookies {
        xcb_get_property_cookie_t pid, netName, name, klass, type, state;
    };
    // All requests go out before the first reply is awaited: one round trip for every window together.
    std::vector<Cookies> cookies;
    cookies.reserve(ids.size());
    for (const quint32 id : ids)
        cookies.push_back({xcb_ewmh_get_wm_pid(e, id), xcb_ewmh_get_wm_name(e, id),
                           xcb_icccm_get_wm_name(c.xcb, id), xcb_icccm_get_wm_class(c.xcb, id),
                           xcb_ewmh_get_wm_window_type(e, id), xcb_ewmh_get_wm_state(e, id)});
    std::vector<Properties> out;
    out.reserve(ids.size());
    for (std::size_t i = 0; i < ids.size(); ++i) {
        // A window that closed meanwhile answers each request with an error: it reads as one without
        // anything.
        Properties p;
        p.id = ids[i];
        uint32_t pid = 0;
        if (xcb_ewmh_get_wm_pid_reply(e, cookies[i].pid, &pid, nullptr)) p.pid = qint32(pid);
        xcb_ewmh_get_utf8_strings_reply_t netName;
        if (xcb_ewmh_get_wm_name_reply(e, cookies[i].netName, &netName, nullptr)) {
            p.title = utf8(netName.strings, netName.strings_len);
            xcb_ewmh_get_utf8_strings_reply_wipe(&netName);
        }
        xcb_icccm_get_text_property_reply_t name;
        if (xcb_icccm_get_wm_name_reply(c.xcb, cookies[i].name, &name, nullptr)) {
            if (p.title.isEmpty() && name.format == 8)
                p.title = name.encoding == e->UTF8_STRING
                              ? utf8(name.name, name.name_len)
                              : QString::fromLatin1(name.name, qsizetype(name.name_len));
            xcb_icccm_get_text_property_reply_wipe(&name);
        }
        xcb_icccm_get_wm_class_reply_t klass;
        if (xcb_icccm_get_wm_class_reply(c.xcb, cookies[i].klass, &klass, nullptr)) {
            p.windowClass = QString::fromUtf8(klass.class_name);
            xcb_icccm_get_wm_class_reply_wipe(&klass);
        }
        xcb_ewmh_get_atoms_reply_t atoms;
        if (xcb_ewmh_get_wm_window_type_reply(e, cookies[i].type, &atoms, nullptr)) {
            const auto* begin = atoms.atoms;
            const auto* end = atoms.atoms + atoms.atoms_len;
            p.normal = atoms.atoms_len == 0 || std::find(begin, end, e->_NET_WM_WINDOW_TYPE_NORMAL) != end;
            xcb_ewmh_get_atoms_reply_wipe(&atoms);
        }
        if (xcb_ewmh_get_wm_state_reply(e, cookies[i].state, &atoms, nullptr)) {
            const auto* begin = atoms.atoms;
            const auto* end = atoms.atoms + atoms.atoms_len;
            p.hidden = std::find(begin, end, e->_NET_WM_STATE_HIDDEN) != end;
            xcb_ewmh_get_atoms_reply_wipe(&atoms);
        }
        out.push_back(std::move(p));
    }
    fillMissingPids(c, out);
    return out;
}

void X11WindowSystem::fillMissingPids(Connection& c, std::vector<Properties>& windows) {
    // Tk and some older toolkits never set _NET_WM_PID; the X server knows which local process made the
    // window.
    if (!c.hasResources) return;
    std::vector<std::pair<Properties*, xcb_res_query_client_ids_cookie_t>> asked;
    for (Properties& p : windows) {
        if (p.pid > 0) continue;
        const xcb_res_client_id_spec_t spec{p.id, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
        asked.emplace_back(&p, xcb_res_query_client_ids(c.xcb, 1, &spec));
    }
    for (auto& [p, cookie] : asked) {
        const std::unique_ptr<xcb_res_query_client_ids_reply_t, decltype(&std::free)> reply(
            xcb_res_query_client_ids_reply(c.xcb, cookie, nullptr), &std::free);
        if (!reply) continue;
        for (auto it = xcb_res_query_client_ids_ids_iterator(reply.get()); it.rem;
             xcb_res_client_id_value_next(&it)) {
            if ((it.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) &&
                xcb_res_client_id_value_value_length(it.data) >= 1)
                p->pid = qint32(*xcb_res_client_id_value_value(it.data));
        }
    }
}

Window X11WindowSystem::describe(const Properties& p) {
    Known& known = m_known[p.id];
    if (known.pid != p.pid || known.windowClass != p.windowClass)
        known = {p.pid, p.windowClass, m_identities.identify(p.pid, p.windowClass)};
    return {p.pid, known.app.name, p.title, known.app.id};
}

QList<Window> X11WindowSystem::windows() {
    Connection* c = connection();
    if (!c) return {};
    xcb_ewmh_get_windows_reply_t stacking;
    if (!xcb_ewmh_get_client_list_stacking_reply(
            &c->ewmh, xcb_ewmh_get_client_list_stacking(&c->ewmh, c->screen), &stacking, nullptr))
        return {};
    // The stacking list runs from bottom to top.
    std::vector<quint32> ids(stacking.windows, stacking.windows + stacking.windows_len);
    xcb_ewmh_get_windows_reply_wipe(&stacking);
    std::reverse(ids.begin(), ids.end());
    // Windows that have closed are forgotten.
    const QSet<quint32> open(ids.cbegin(), ids.cend());
    m_known.removeIf([&open](const auto& entry) { return !open.contains(entry.key()); });
    QList<Window> out;
    for (const Properties& p : read(*c, ids)) {
        if (p.pid > 0 && p.normal && !p.hidden) out.append(describe(p));
    }
    return out;
}

std::optional<Window> X11WindowSystem::activeWindow() {
    Connection* c = connection();
    if (!c) return std::nullopt;
    xcb_window_t active = XCB_NONE;
    if (!xcb_ewmh_get_active_window_reply(&c->ewmh, xcb_ewmh_get_active_window(&c->ewmh, c->screen), &active,
                                          nullptr) ||
        active == XCB_NONE)
        return std::nullopt;
    // Without window lists to tell which windows have closed, the memory of windows starts over now and then.
    if (m_known.size() > 1024) m_known.clear();
    const std::vector<Properties> read = this->read(*c, {active});
    if (read.front().pid <= 0) return std::nullopt;
    return describe(read.front());
}

} // namespace os
