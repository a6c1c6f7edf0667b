#pragma once

#include "surfaces/Browser.h"

#include <QList>

// Records the pages it was asked to open; `works` false stands for a desktop without a browser.
class FakeBrowser final : public Browser {
public:
    bool open(const QUrl& url) override {
        opened.append(url);
        return works;
    }
    QList<QUrl> opened;
    bool works = true;
};
