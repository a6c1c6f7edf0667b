#pragma once

#include "core/Keychain.h"
#include "os/FileSecretStore.h"
#include "server/API.h"
#include "server/Settings.h"
#include "server/SignIn.h"
#include "surfaces/DesktopBrowser.h"
#include "surfaces/SettingsView.h"

#include <QEvent>
#include <QEventLoop>
#include <QFile>
#include <QNetworkAccessManager>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimer>
#include <QWidget>

// What the window benchmarks read (when a view has painted, how much memory the process holds) and the
// settings window they open, on settings and keys of their own.

// Waits for the next paint of `view`; false after ten seconds.
inline bool painted(QWidget& view) {
    struct Watch : QObject {
        QEventLoop loop;
        bool eventFilter(QObject*, QEvent* e) override {
            if (e->type() == QEvent::Paint) QTimer::singleShot(0, &loop, &QEventLoop::quit);
            return false;
        }
    } watch;
    view.installEventFilter(&watch);
    QTimer::singleShot(10000, &watch.loop, [&] { watch.loop.exit(1); });
    const bool ok = watch.loop.exec() == 0;
    view.removeEventFilter(&watch);
    return ok;
}

inline double residentMB() {
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly)) return 0;
    return statm.readAll().split(' ').value(1).toDouble() * 4096 / (1024 * 1024);
}

// Settings views on a throw-away store and key file, with a browser that only logs.
class SettingsViews {
public:
    SettingsView* make() {
        return new SettingsView({m_settings, m_signIn, m_browser, [] {}, [] {}, [] {}});
    }
    Browser& browser() { return m_browser; }

private:
    QTemporaryDir m_dir;
    QSettings m_store{m_dir.filePath(QStringLiteral("orvane.conf")), QSettings::IniFormat};
    os::FileSecretStore m_secrets{m_dir.filePath(QStringLiteral("keys"))};
    Keychain m_keychain{m_secrets, QStringLiteral("bench")};
    std::unique_ptr<QNetworkAccessManager> m_network = API::makeNetwork();
    Settings m_settings{m_store, m_keychain, *m_network};
    DesktopBrowser m_browser{DesktopBrowser::Mode::logOnly};
    SignIn m_signIn{[](const QUrl&) { return false; }};
};
