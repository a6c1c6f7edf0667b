#include "os/linux/PortalScreenSource.h"

#include "os/linux/OwnWindowMarks.h"
#include "os/linux/PortalRequest.h"
#include "os/linux/ScreenCastPortal.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QUrl>

namespace os {
namespace {

const QString screenshotInterface = QStringLiteral("org.freedesktop.portal.Screenshot");

// A picture the desktop left in a temporary place is ours to remove; one it saved among the user's pictures
// is the user's.
bool temporary(const QString& path) {
    const QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    return path.startsWith(QDir::tempPath() + QLatin1Char('/')) ||
           (!runtime.isEmpty() && path.startsWith(runtime + QLatin1Char('/')));
}

} // namespace

PortalScreenSource::PortalScreenSource(QDBusConnection bus) : m_bus(std::move(bus)) {}

int PortalScreenSource::readableDisplays() {
    if (!ScreenCastPortal::available(m_bus))
        throw ScreenError("the desktop offers no screen sharing (no ScreenCast portal)");
    return 1;
}

ScreenFrame PortalScreenSource::grabPrimary() {
    std::optional<QImage> picture = screenshot(false);
    if (!picture) throw ScreenError("the screenshot was declined");
    QImage image = picture->convertToFormat(QImage::Format_RGB32);
    ownmarks::paintOut(image, ownmarks::find(image), QImage());
    return {image, true};
}

std::optional<QImage> PortalScreenSource::pickRegion() {
    return screenshot(true);
}

std::optional<QImage> PortalScreenSource::screenshot(bool interactive) {
    if (portal::version(m_bus, screenshotInterface) == 0)
        throw ScreenError("the desktop offers no screenshots (no Screenshot portal)");
    const portal::Response answer =
        portal::request(m_bus, screenshotInterface, QStringLiteral("Screenshot"), {QString()},
                        {{QStringLiteral("interactive"), interactive}, {QStringLiteral("modal"), true}},
                        interactive ? std::chrono::milliseconds(std::chrono::minutes(5))
                                    : std::chrono::milliseconds(std::chrono::seconds(20)));
    if (answer.code == portal::Response::cancelled) return std::nullopt;
    if (answer.code != portal::Response::success) throw ScreenError("the desktop's screenshot failed");
    const QString path = QUrl(answer.results.value(QStringLiteral("uri")).toString()).toLocalFile();
    QImage image(path);
    if (temporary(path)) QFile::remove(path);
    if (image.isNull()) throw ScreenError("the desktop's screenshot could not be read");
    return image;
}

} // namespace os
