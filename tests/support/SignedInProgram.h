#pragma once

#include "support/LocalPlatform.h"
#include "support/SupportLog.h"

#include <QDir>
#include <QFile>
#include <QProcess>

namespace testsupport {

// Starts the built program as a fresh user of `platform`: the platform's address in its settings and
// nothing else, its support and settings folders under `home`, `env` on top of this process's environment,
// signed in with the device code that the platform approves. Empty when it got there, else why not.
inline QString startSignedIn(QProcess& orvane, const QString& binary, LocalPlatform& platform,
                             const QString& home, const QProcessEnvironment& env = {}) {
    using namespace Qt::Literals::StringLiterals;
    const QString config = home + u"/config"_s;
    QFile settings(config + u"/Orvane/orvane.conf"_s);
    if (!QDir().mkpath(config + u"/Orvane"_s) || !settings.open(QIODevice::WriteOnly))
        return u"cannot write "_s + settings.fileName();
    settings.write("[General]\nplatformBase=" + platform.base().toUtf8() + '\n');
    settings.close();

    QProcessEnvironment all = QProcessEnvironment::systemEnvironment();
    all.insert(u"ORVANE_SUPPORT_DIR"_s, home + u"/support"_s);
    all.insert(u"XDG_CONFIG_HOME"_s, config);
    all.remove(u"ORVANE_DEFAULTS_SUITE"_s);
    all.insert(u"ORVANE_NO_BROWSER"_s, u"1"_s);
    all.insert(env);
    orvane.setProcessEnvironment(all);
    orvane.setProcessChannelMode(QProcess::ForwardedChannels);
    orvane.start(binary, {u"--sign-in"_s});
    if (!orvane.waitForStarted()) return binary + u" did not start"_s;
    const SupportLog log(home + u"/support/orvane.log"_s);
    const auto code = log.waitFor(u"sign-in: code (\\S+) via"_s);
    if (!code || !platform.approve(code->captured(1)) || !log.waitFor(u"me: dev@orvane\\.test, projects "_s))
        return log.text();
    return {};
}

} // namespace testsupport
