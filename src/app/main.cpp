#include "app/AppDelegate.h"
#include "app/Arguments.h"
#include "app/Config.h"
#include "app/IconSet.h"
#include "app/Previews.h"
#include "app/RecTest.h"
#include "app/SelfTest.h"
#include "app/Services.h"
#include "app/SingleCopy.h"
#include "app/UnixSignals.h"
#include "board/window/Board.h"
#include "core/Log.h"
#include "core/Paths.h"

#include <QApplication>
#include <cstdio>

namespace {

// With no display at all (a server, a CI shell) the program still runs, drawing off screen; so do the runs
// that need no screen.
void drawOffscreenWhenHeadless(const Arguments& args, const Config& config) {
    if ((!config.hasDisplay || LaunchModes::read(args).headless()) &&
        qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // On a Wayland session Qt draws as a Wayland client (XWayland only where the plugin is missing): the
    // backends chosen for it assume so.
    else if (config.waylandSession && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "wayland;xcb");
}

// Qt's own warnings and the os backends' categories end in the one log.
void toLog(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (type == QtDebugMsg) return;
    const char* category = context.category ? context.category : "qt";
    slog(QStringLiteral("%1: %2").arg(QLatin1String(category), message));
}

void identify() {
    QCoreApplication::setApplicationName(QStringLiteral("Orvane"));
    QCoreApplication::setOrganizationName(QStringLiteral("Orvane"));
    QGuiApplication::setDesktopFileName(SingleCopy::busName);
}

} // namespace

int main(int argc, char** argv) {
    const Arguments args(argc, argv);
    const Config config = Config::fromEnvironment();
    Paths::useSupport(config.supportDir);
    drawOffscreenWhenHeadless(args, config);
    identify();

    const EntryMode mode = EntryMode::decide(args);
    switch (mode.kind) {
    case EntryMode::SelfTest: {
        QCoreApplication app(argc, argv);
        return SelfTest::run(args);
    }
    case EntryMode::MakeIconset:
        writeIconSet(mode.dir);
        return 0;
    case EntryMode::RenderPreviews: {
        Board::prepareEngine();
        QApplication app(argc, argv);
        Previews::render(mode.dir);
        return 0;
    }
    case EntryMode::RecTest: {
        // Frames go to JPEG through Qt's image plugins, which need an application object but no window.
        QCoreApplication app(argc, argv);
        qInstallMessageHandler(toLog);
        return RecTest::run(mode.seconds, config.waylandSession);
    }
    case EntryMode::Application:
        break;
    }

    // Read before Qt takes the startup id for its own first window.
    const StartRequest start = StartRequest::fromStart(args.list(), QProcessEnvironment::systemEnvironment());
    Board::prepareEngine();
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    qInstallMessageHandler(toLog);

    SingleCopy single;
    if (mode.singleCopy) {
        // The system log only: orvane.log belongs to the copy that runs.
        switch (single.claim(start)) {
        case SingleCopy::Claim::Ours:
            break;
        case SingleCopy::Claim::HandedOver:
            std::fputs("[Orvane] already running\n", stderr);
            return 0;
        case SingleCopy::Claim::Unanswered:
            std::fputs("[Orvane] another copy runs but does not answer\n", stderr);
            return 1;
        }
    }

    const auto services = Services::build(config);
    AppDelegate delegate(*services, args);
    UnixSignals unixSignals;
    QObject::connect(&unixSignals, &UnixSignals::terminationRequested, &delegate, &AppDelegate::requestQuit);
    QObject::connect(&single, &SingleCopy::opened, &delegate, &AppDelegate::openLinks);
    QObject::connect(&single, &SingleCopy::activated, &delegate, &AppDelegate::reopen);
    delegate.applicationDidFinishLaunching();
    single.ready();
    const int status = QApplication::exec();
    slogFlush();
    return status;
}
