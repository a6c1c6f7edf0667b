#pragma once

#include "surfaces/Browser.h"

#include <QString>

// The user's default browser. With ORVANE_NO_BROWSER=1 it only logs the URL after `logPrefix`, so that scripted
// runs open no windows.
class DesktopBrowser final : public Browser {
public:
    explicit DesktopBrowser(QString logPrefix = QStringLiteral("open ")) : m_logPrefix(std::move(logPrefix)) {}
    void open(const QUrl& url) override;

private:
    QString m_logPrefix;
};
