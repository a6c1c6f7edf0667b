#include "surfaces/popover/QuickRow.h"

#include "surfaces/design/Appearance.h"
#include "surfaces/design/Kbd.h"
#include "surfaces/design/OVButton.h"
#include "surfaces/design/OVFont.h"
#include "surfaces/design/Symbol.h"
#include "surfaces/design/ValueWidget.h"
#include "surfaces/popover/WidgetPool.h"

#include <QAbstractButton>
#include <QBoxLayout>
#include <QFontMetrics>
#include <QPainter>

namespace {
constexpr int ring = 3;
constexpr int bodyHeight = 48;

QString symbolOf(const QString& id) {
    return id.startsWith(QLatin1String("q.pin")) ? QStringLiteral("pin") : QStringLiteral("waveform");
}
} // namespace

struct QuickValue {
    MBtn button;
    bool acts = true;
    bool selected = false;
    bool operator==(const QuickValue&) const = default;
};

// A small tile: the symbol and title on top, the key hint under them.
class QuickButton : public ValueWidget<QuickValue, QAbstractButton> {
public:
    explicit QuickButton(QWidget* parent) : ValueWidget({}, parent) {
        setAttribute(Qt::WA_Hover);
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    }
    QSize sizeHint() const override { return {120, bodyHeight + 2 * ring}; }

protected:
    void valueChanged() override { setCursor(value().acts ? Qt::PointingHandCursor : Qt::ArrowCursor); }
    void paintEvent(QPaintEvent*) override {
        const Pal& pal = palOf(this);
        const QuickValue& v = value();
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        const QRectF body = QRectF(rect()).adjusted(ring + 0.5, ring + 0.5, -ring - 0.5, -ring - 0.5);
        p.setPen(QPen(pal.ln2, 1));
        p.setBrush(v.acts && (underMouse() || isDown()) ? pal.bg3 : Qt::transparent);
        p.drawRoundedRect(body, 9, 9);
        if (v.selected) paintFocusRing(p, body, 9, pal);
        const QColor ink = v.acts ? pal.tx : pal.tx3;
        const int left = int(body.left()) + 11, top = int(body.top()) + 7;
        Symbol::paint(p, symbolOf(v.button.id), QRectF(left, top, 14, 14), v.acts ? pal.tx2 : pal.tx3);
        const QFont font = OVFont::sans(9.5, QFont::Medium);
        p.setFont(font);
        p.setPen(ink);
        p.drawText(QRect(left + 20, top - 2, int(body.width()) - 42, 18), Qt::AlignLeft | Qt::AlignVCenter,
                   QFontMetrics(font).elidedText(v.button.title, Qt::ElideRight, int(body.width()) - 42));
        if (!v.button.kbd) return;
        QSize key = Kbd::sizeFor(*v.button.kbd);
        key.setWidth(std::min(key.width(), int(body.width()) - 22));
        Kbd::paint(p, QRect(QPoint(left, int(body.bottom()) - 6 - key.height()), key), *v.button.kbd, pal);
    }
};

QuickRow::QuickRow(const PanelActions& actions, QWidget* parent) : QWidget(parent), m_actions(actions) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
}

void QuickRow::setButtons(const QList<MBtn>& buttons) {
    resizePool(m_buttons, buttons.size(), *layout(), [this] {
        auto* button = new QuickButton(this);
        connect(button, &QAbstractButton::clicked, this, [this, button] {
            if (button->value().acts) m_actions.run(button->value().button.id);
        });
        return button;
    });
    for (qsizetype i = 0; i < buttons.size(); ++i) {
        QuickValue v{buttons[i], m_actions.acts(buttons[i].id), m_buttons[i]->value().selected};
        if (!(v == m_buttons[i]->value())) m_buttons[i]->setValue(std::move(v));
    }
}

void QuickRow::select(const std::optional<QString>& id) {
    for (QuickButton* button : m_buttons) {
        QuickValue v = button->value();
        const bool selected = id && *id == v.button.id;
        if (selected == v.selected) continue;
        v.selected = selected;
        button->setValue(std::move(v));
    }
}

QRect QuickRow::areaOf(const QString& id) const {
    for (QuickButton* button : m_buttons)
        if (button->value().button.id == id) return button->geometry();
    return {};
}
