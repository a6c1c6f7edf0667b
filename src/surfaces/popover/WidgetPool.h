#pragma once

#include <QLayout>
#include <QList>

// Brings a list of widgets standing in `layout` to `count`: the widgets there are kept for the caller to give
// new values, the missing ones are made by `make`, the surplus deleted. A rebuild of the panel then makes no
// widget unless the number of rows changed.
template <class Widget, class Make>
void resizePool(QList<Widget*>& pool, qsizetype count, QLayout& layout, Make make) {
    while (pool.size() < count) {
        Widget* widget = make();
        layout.addWidget(widget);
        widget->show(); // a child added to a widget on screen stays hidden until shown
        pool.append(widget);
    }
    while (pool.size() > count)
        delete pool.takeLast();
}
