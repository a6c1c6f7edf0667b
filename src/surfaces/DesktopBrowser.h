#pragma once

#include "surfaces/Browser.h"

#include <QString>

// The user's default browser. When told to open nothing it only logs the URL after `logPrefix`, so that
// scripted runs open no windows.
class DesktopBrowser final : public Browser {
public:
    enum class Mode { open, logOnly };
    explicit DesktopBrowser(Mode mode, QString logPrefix = QStringLiteral("open "))
        : m_mode(mode), m_logPrefix(std::move(logPrefix)) {}
    bool open(const QUrl& url) override;

private:
    Mode m_mode;
    QString m_logPrefix;
};
