#include "app/Previews.h"

#include "app/IconSet.h"
#include "core/Paths.h"
#include "surfaces/StatusIcon.h"

namespace Previews {
void render(const QString& dir) {
    Paths::ensure(dir);
    struct Variant {
        const char* name;
        bool recording, dot, darkPanel;
    };
    static const Variant icons[] = {{"status-light", false, false, false},
                                    {"status-dark", false, false, true},
                                    {"status-recording", true, false, true},
                                    {"status-recording-dot", true, true, true}};
    for (const Variant& v : icons)
        StatusIcon::slash(64, v.recording, v.dot, v.darkPanel)
            .save(dir + QStringLiteral("/%1.png").arg(QLatin1String(v.name)));
    writeIconSet(dir + QStringLiteral("/iconset"));
}
} // namespace Previews
