#pragma once

#include "surfaces/Browser.h"

// The user's default browser. With ORVANE_NO_BROWSER=1 it only logs the URL, so that scripted runs open no
// windows.
class DesktopBrowser final : public Browser {
public:
    void open(const QUrl& url) override;
};
