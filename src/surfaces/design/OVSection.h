#pragma once

#include "surfaces/design/ValueWidget.h"

#include <QString>
#include <optional>

struct OVSectionValue {
    QString title;
    std::optional<QString> trailing;
};

// A section head: "// TITLE" in small monospaced capitals, an optional text at the trailing edge.
class OVSection : public ValueWidget<OVSectionValue> {
public:
    explicit OVSection(OVSectionValue value, QWidget* parent = nullptr);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
};
