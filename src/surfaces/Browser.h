#pragma once

#include <QUrl>

// Where the app hands a web page it does not show itself.
class Browser {
public:
    virtual ~Browser() = default;
    virtual void open(const QUrl& url) = 0;
};
