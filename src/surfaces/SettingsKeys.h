#pragma once

#include "surfaces/HotKeys.h"

#include <QWidget>

// The global keys where the desktop, not Orvane, holds them: with the desktop's own keys, where they are
// changed; without any, each action's command to bind to a shortcut, in a field to select and with "Copy".
class KeysSection : public QWidget {
    Q_OBJECT
public:
    explicit KeysSection(const KeyGuide& guide, QWidget* parent = nullptr);
};
