#pragma once

#include <QImage>
#include <QRect>
#include <optional>
#include <vector>
#include <xcb/xcb.h>

namespace os {

class X11Grabber;

// Paints this process's windows out of a grab of the root window, from what lies beneath them.
//
// Every top-level window of ours (one whose client carries our `_NET_WM_PID`, with a reparenting window
// manager the whole frame round it; override-redirect popups and tooltips too) is repainted from the
// contents of the other top-level windows in stacking order, so a window of another program above ours stays
// on top. Those contents come from XComposite: the root's children are redirected automatically for as long
// as the grabber's connection lives, which keeps the covered parts of every window readable. Where no window
// lies beneath, the root's background shows: the wallpaper pixmap that desktop setters publish as
// `_XROOTPMAP_ID`, else black. Without the Composite extension our windows are painted black: a frame must
// never show them.
class X11OwnWindowEraser {
public:
    // Uses `grabber`'s connection, which must outlive this.
    explicit X11OwnWindowEraser(X11Grabber& grabber);

    // `frame` shows `area` of the root window.
    void paintOut(QImage& frame, const QRect& area);

private:
    struct TopLevel {
        xcb_window_t window;
        QRect rect; // with its border, in root coordinates
        bool own;
        bool readable; // has pixels of the screen's format
    };

    // The viewable top-level windows, bottom first.
    std::vector<TopLevel> stack();
    // Marks the top-levels whose client, somewhere below them, is ours.
    void findOwnClients(std::vector<TopLevel>& tops);
    // The `_NET_WM_PID` of each window; none where it is not set.
    std::vector<std::optional<uint32_t>> wmPids(const std::vector<xcb_window_t>& windows);
    // `rect` of the screen as it would look without our windows.
    QImage beneath(const std::vector<TopLevel>& tops, const QRect& rect);
    void paintRootBackground(QImage& image, const QRect& rect);

    X11Grabber& m_grabber;
    xcb_connection_t* m_c;
    bool m_composite = false;
    xcb_atom_t m_pidAtom = XCB_ATOM_NONE;
    xcb_atom_t m_wallpaperAtom = XCB_ATOM_NONE;
    uint32_t m_pid;
};

} // namespace os
