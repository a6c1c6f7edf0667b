#pragma once

#include "os/LoginStart.h"

namespace os {

// The XDG autostart entry: a desktop entry in the user's autostart folder that the session starts at login.
// Present only while the user wants it; an entry another tool marked Hidden counts as off.
class XdgAutostart final : public LoginStart {
public:
    // `folder`: the autostart folder ($XDG_CONFIG_HOME/autostart); `executable`: what the entry starts.
    XdgAutostart(QString folder, QString executable);
    static QString defaultFolder();

    bool enabled() const override;
    std::optional<QString> setEnabled(bool on) override;

    QString entryPath() const;
    // A path as the Exec key takes it: quoted where it holds a character the key reserves.
    static QString execQuoted(const QString& path);

private:
    QString m_folder;
    QString m_executable;
};

} // namespace os
