#pragma once

namespace os {

// Whether the desktop wants interface animations. Qt 6.4 reports no such setting on Linux (its effect flags
// are off on every platform theme), so this reads GNOME's `enable-animations`, which GNOME, Cinnamon, Budgie
// and others share; without that schema the answer is yes.
bool desktopAnimationsEnabled();

} // namespace os
