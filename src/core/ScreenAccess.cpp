#include "core/ScreenAccess.h"

#include "core/Log.h"

namespace ScreenAccess {
bool works(os::ScreenSource& screen) {
    try {
        return screen.readableDisplays() > 0;
    } catch (const os::ScreenError& e) {
        slog(QStringLiteral("screen access probe: ") + QString::fromUtf8(e.what()));
        return false;
    }
}
} // namespace ScreenAccess
