#pragma once

#include <QWidget>
#include <utility>

// A component drawn from one plain value: changing the value re-lays and repaints it.
template <class Value, class Base = QWidget> class ValueWidget : public Base {
public:
    const Value& value() const { return m_value; }
    void setValue(Value value) {
        m_value = std::move(value);
        this->updateGeometry();
        this->update();
        valueChanged();
    }

protected:
    explicit ValueWidget(Value value, QWidget* parent) : Base(parent), m_value(std::move(value)) {}
    // For a component that keeps more than a picture in step with its value.
    virtual void valueChanged() {}

private:
    Value m_value;
};
