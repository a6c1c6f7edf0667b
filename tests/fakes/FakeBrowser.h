#pragma once

#include "surfaces/Browser.h"

#include <QList>

// Records the pages it was asked to open.
class FakeBrowser final : public Browser {
public:
    void open(const QUrl& url) override { opened.append(url); }
    QList<QUrl> opened;
};
