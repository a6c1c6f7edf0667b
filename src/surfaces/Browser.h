#pragma once

#include <QUrl>

// Where the app hands a web page it does not show itself.
class Browser {
public:
    virtual ~Browser() = default;
    // False when no browser took the page (none installed, or a scripted run that only logs it).
    virtual bool open(const QUrl& url) = 0;
};
