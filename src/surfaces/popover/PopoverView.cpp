#include "surfaces/popover/PopoverView.h"

#include "surfaces/menu/MenuModel.h"

#include <QLabel>

PopoverView::PopoverView(MenuModel& model, QWidget* parent) : OVCard({}, new QLabel, parent) {
    auto* text = findChild<QLabel*>();
    text->setFixedWidth(width);
    connect(&model, &MenuModel::changed, this, [this, text, &model] {
        text->setText(model.state().dump());
        emit contentHeightChanged(contentHeight());
    });
}

int PopoverView::contentHeight() const {
    return findChild<QLabel*>()->sizeHint().height();
}
