#pragma once

#include "surfaces/design/OVCard.h"

class MenuModel;

// The tray panel's content: the model's state drawn top to bottom at a fixed width; the keyboard selection
// drawn as selected; a click runs its action through the model.
class PopoverView : public OVCard {
    Q_OBJECT
public:
    static constexpr int width = 348;
    static constexpr int maxHeight = 680;

    explicit PopoverView(MenuModel& model, QWidget* parent = nullptr);
    int contentHeight() const;

signals:
    void contentHeightChanged(int height);
};
