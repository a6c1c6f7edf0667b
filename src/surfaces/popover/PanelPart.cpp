#include "surfaces/popover/PanelPart.h"

#include "surfaces/menu/MenuModel.h"

void PanelActions::run(const QString& id) const {
    m_model.perform(id, MenuModel::keepsOpen(id));
}

bool PanelActions::acts(const QString& id) const {
    return m_model.acts(id);
}
