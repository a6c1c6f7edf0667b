#pragma once

#include "surfaces/popover/PanelPart.h"

#include <QAbstractButton>

// The head of Up next: the title, the count and a chevron that turns down while the section is open. A click
// folds or unfolds the section.
class UpNextHead : public QAbstractButton, public PanelPart {
public:
    struct Value {
        int count = 0;
        std::optional<QString> toggle;
        bool open = true;
        bool operator==(const Value&) const = default;
    };

    explicit UpNextHead(const PanelActions& actions, QWidget* parent = nullptr);
    void setValue(const Value& value);

    void select(const std::optional<QString>& id) override;
    QRect areaOf(const QString& id) const override;
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Value m_value;
    bool m_selected = false;
};
