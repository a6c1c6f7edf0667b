#pragma once

class QWindow;

namespace os {

// Whether a compositing manager runs on the application's X display: it owns the _NET_WM_CM_S<screen>
// selection. No X display means no.
bool x11CompositingManagerRuns();

// Whether an XEmbed system tray runs on the application's X display: it owns _NET_SYSTEM_TRAY_S<screen>.
bool x11SystemTrayRuns();

// Puts a window that is about to map on every virtual desktop (_NET_WM_DESKTOP 0xFFFFFFFF). Does nothing
// off X.
void x11OnAllDesktops(QWindow& window);

} // namespace os
