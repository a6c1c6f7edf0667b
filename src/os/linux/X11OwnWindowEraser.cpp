#include "os/linux/X11OwnWindowEraser.h"

#include "os/linux/X11Grabber.h"

#include <QLoggingCategory>
#include <QPainter>
#include <cstring>
#include <unistd.h>
#include <xcb/composite.h>

Q_LOGGING_CATEGORY(lcOwnWindows, "frames.own")

namespace os {
namespace {
// How far below a top-level window its client may sit: a window manager's frame, and a wrapper inside it.
constexpr int clientDepth = 2;

xcb_atom_t atom(xcb_connection_t* c, const char* name) {
    auto reply = xcbReply(xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, std::strlen(name), name), nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

bool compositeAvailable(xcb_connection_t* c) {
    if (!xcbHasExtension(c, &xcb_composite_id)) return false;
    // Naming a window's pixmap came with version 0.2.
    auto version =
        xcbReply(xcb_composite_query_version_reply(c, xcb_composite_query_version(c, 0, 4), nullptr));
    return version && (version->major_version > 0 || version->minor_version >= 2);
}
} // namespace

X11OwnWindowEraser::X11OwnWindowEraser(X11Grabber& grabber)
    : m_grabber(grabber), m_c(grabber.connection()), m_pid(uint32_t(getpid())) {
    m_pidAtom = atom(m_c, "_NET_WM_PID");
    m_wallpaperAtom = atom(m_c, "_XROOTPMAP_ID");
    m_composite = compositeAvailable(m_c);
    if (m_composite)
        xcb_composite_redirect_subwindows(m_c, m_grabber.root(), XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    else
        qCWarning(lcOwnWindows)
            << "the X server has no Composite extension; our windows are blacked out of frames";
}

void X11OwnWindowEraser::paintOut(QImage& frame, const QRect& area) {
    const std::vector<TopLevel> tops = stack();
    std::optional<QPainter> painter;
    for (const TopLevel& top : tops) {
        const QRect rect = top.rect & area;
        if (!top.own || rect.isEmpty()) continue;
        const QImage below = beneath(tops, rect);
        if (!painter) painter.emplace(&frame);
        painter->drawImage(rect.topLeft() - area.topLeft(), below);
    }
}

std::vector<X11OwnWindowEraser::TopLevel> X11OwnWindowEraser::stack() {
    auto tree = xcbReply(xcb_query_tree_reply(m_c, xcb_query_tree(m_c, m_grabber.root()), nullptr));
    if (!tree) throw ScreenError("the X server did not list its windows");
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    const int count = xcb_query_tree_children_length(tree.get());
    std::vector<xcb_get_window_attributes_cookie_t> attributes(count);
    std::vector<xcb_get_geometry_cookie_t> geometries(count);
    for (int i = 0; i < count; ++i) {
        attributes[i] = xcb_get_window_attributes(m_c, children[i]);
        geometries[i] = xcb_get_geometry(m_c, children[i]);
    }
    std::vector<TopLevel> tops;
    for (int i = 0; i < count; ++i) {
        auto attribute = xcbReply(xcb_get_window_attributes_reply(m_c, attributes[i], nullptr));
        auto geometry = xcbReply(xcb_get_geometry_reply(m_c, geometries[i], nullptr));
        // Input-only windows show nothing; a window gone since the listing has no answers.
        if (!attribute || !geometry || attribute->map_state != XCB_MAP_STATE_VIEWABLE ||
            attribute->_class == XCB_WINDOW_CLASS_INPUT_ONLY)
            continue;
        const int border = geometry->border_width;
        tops.push_back(
            {children[i],
             QRect(geometry->x, geometry->y, geometry->width + 2 * border, geometry->height + 2 * border),
             false, geometry->depth == 24 || geometry->depth == 32});
    }
    findOwnClients(tops);
    return tops;
}

void X11OwnWindowEraser::findOwnClients(std::vector<TopLevel>& tops) {
    struct Probe {
        std::size_t top;
        xcb_window_t window;
    };
    std::vector<Probe> probes;
    for (std::size_t i = 0; i < tops.size(); ++i)
        probes.push_back({i, tops[i].window});
    for (int depth = 0; !probes.empty(); ++depth) {
        std::vector<xcb_window_t> windows;
        for (const Probe& probe : probes)
            windows.push_back(probe.window);
        const std::vector<std::optional<uint32_t>> pids = wmPids(windows);
        // A window that names its process is a client: what lies inside it is that program's business.
        std::vector<Probe> unnamed;
        for (std::size_t i = 0; i < probes.size(); ++i) {
            if (pids[i] && *pids[i] == m_pid)
                tops[probes[i].top].own = true;
            else if (!pids[i])
                unnamed.push_back(probes[i]);
        }
        if (depth == clientDepth) break;
        std::vector<xcb_query_tree_cookie_t> trees;
        for (const Probe& probe : unnamed)
            trees.push_back(xcb_query_tree(m_c, probe.window));
        probes.clear();
        for (std::size_t i = 0; i < unnamed.size(); ++i) {
            auto tree = xcbReply(xcb_query_tree_reply(m_c, trees[i], nullptr));
            if (!tree || tops[unnamed[i].top].own) continue;
            const xcb_window_t* children = xcb_query_tree_children(tree.get());
            for (int c = 0; c < xcb_query_tree_children_length(tree.get()); ++c)
                probes.push_back({unnamed[i].top, children[c]});
        }
    }
}

std::vector<std::optional<uint32_t>> X11OwnWindowEraser::wmPids(const std::vector<xcb_window_t>& windows) {
    std::vector<xcb_get_property_cookie_t> cookies;
    for (xcb_window_t window : windows)
        cookies.push_back(xcb_get_property(m_c, 0, window, m_pidAtom, XCB_ATOM_CARDINAL, 0, 1));
    std::vector<std::optional<uint32_t>> pids;
    for (xcb_get_property_cookie_t cookie : cookies) {
        auto property = xcbReply(xcb_get_property_reply(m_c, cookie, nullptr));
        if (property && property->format == 32 && xcb_get_property_value_length(property.get()) == 4)
            pids.push_back(*static_cast<const uint32_t*>(xcb_get_property_value(property.get())));
        else
            pids.push_back(std::nullopt);
    }
    return pids;
}

QImage X11OwnWindowEraser::beneath(const std::vector<TopLevel>& tops, const QRect& rect) {
    QImage image(rect.size(), QImage::Format_RGB32);
    paintRootBackground(image, rect);
    if (!m_composite) return image;
    QPainter painter(&image);
    for (const TopLevel& top : tops) {
        const QRect piece = top.rect & rect;
        if (top.own || !top.readable || piece.isEmpty()) continue;
        const xcb_pixmap_t pixmap = xcb_generate_id(m_c);
        xcb_composite_name_window_pixmap(m_c, top.window, pixmap);
        try {
            painter.drawImage(piece.topLeft() - rect.topLeft(),
                              m_grabber.read(pixmap, piece.translated(-top.rect.topLeft())));
        } catch (const ScreenError&) {
            if (m_grabber.lost()) throw;
            // The window went away since the listing: it covers nothing any more.
        }
        xcb_free_pixmap(m_c, pixmap);
    }
    return image;
}

void X11OwnWindowEraser::paintRootBackground(QImage& image, const QRect& rect) {
    image.fill(Qt::black);
    auto property = xcbReply(xcb_get_property_reply(
        m_c, xcb_get_property(m_c, 0, m_grabber.root(), m_wallpaperAtom, XCB_ATOM_PIXMAP, 0, 1), nullptr));
    if (!property || property->format != 32 || xcb_get_property_value_length(property.get()) != 4) return;
    const xcb_pixmap_t wallpaper = *static_cast<const xcb_pixmap_t*>(xcb_get_property_value(property.get()));
    try {
        QPainter(&image).drawImage(0, 0, m_grabber.read(wallpaper, rect));
    } catch (const ScreenError&) {
        if (m_grabber.lost()) throw;
        // A wallpaper freed meanwhile, or smaller than the screen: black it is.
    }
}

} // namespace os
