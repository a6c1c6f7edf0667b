#include "app/IconSet.h"

#include "core/Paths.h"
#include "surfaces/StatusIcon.h"

#include <QFile>

void writeIconSet(const QString& dir) {
    static const struct {
        int pixels;
        const char* name;
    } icons[] = {{16, "16x16"},    {32, "16x16@2x"},    {32, "32x32"},    {64, "32x32@2x"},
                 {128, "128x128"}, {256, "128x128@2x"}, {256, "256x256"}, {512, "256x256@2x"},
                 {512, "512x512"}, {1024, "512x512@2x"}};
    Paths::ensure(dir);
    for (const auto& icon : icons) {
        const auto png = StatusIcon::appIcon(icon.pixels);
        if (!png) continue;
        QFile file(dir + QStringLiteral("/icon_%1.png").arg(QLatin1String(icon.name)));
        if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) file.write(*png);
    }
    QFile svg(dir + QStringLiteral("/icon.svg"));
    if (svg.open(QIODevice::WriteOnly | QIODevice::Truncate)) svg.write(StatusIcon::appIconSvg());
}
