#include "voice/VoicePillPanel.h"

#include "surfaces/design/Appearance.h"
#include "surfaces/design/OVCard.h"
#include "surfaces/design/OVFont.h"

#include <QGuiApplication>
#include <QPainter>
#include <QScreen>
#include <QVariantAnimation>
#include <QWindow>

namespace {

constexpr QSize pillSize(300, 40);
constexpr int maxTextWidth = 420;
constexpr int dotSize = 10;
constexpr int inset = 16;
constexpr int belowTop = 10;

} // namespace

// What the pill says: a red pulse while listening and one line of text, elided at its widest. It lies on an
// OVCard rounded to a capsule.
class PillContent : public QWidget {
public:
    explicit PillContent(bool pulse) : m_animated(pulse) {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setFont(OVFont::sans(13, QFont::Medium));
        if (pulse) {
            m_pulse.setStartValue(1.0);
            m_pulse.setKeyValueAt(0.5, 0.3);
            m_pulse.setEndValue(1.0);
            m_pulse.setDuration(1100);
            m_pulse.setLoopCount(-1);
            connect(&m_pulse, &QVariantAnimation::valueChanged, this, [this] { update(); });
        }
    }

    void setModel(const PillDisplay::Model& model) {
        m_model = model;
        if (model.listening && m_animated)
            m_pulse.start();
        else
            m_pulse.stop();
        const QFontMetrics metrics(font());
        // A pixel of slack each side: advances are fractional, and the text must not be elided a letter
        // short.
        const int text = std::min(metrics.horizontalAdvance(VoicePill::caption(model)) + 2, maxTextWidth);
        const int lead = model.listening ? dotSize + 10 : 0;
        setFixedSize(std::max(pillSize.width(), inset * 2 + lead + text), pillSize.height());
        update();
    }

protected:
    void paintEvent(QPaintEvent*) override {
        const Pal& pal = palOf(this);
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        const QRectF pill(rect());
        double x = pill.left() + inset;
        if (m_model.listening) {
            QColor dot = pal.red;
            dot.setAlphaF(m_pulse.state() == QAbstractAnimation::Running ? m_pulse.currentValue().toFloat()
                                                                         : 1);
            p.setPen(Qt::NoPen);
            p.setBrush(dot);
            p.drawEllipse(QRectF(x, pill.center().y() - dotSize / 2.0, dotSize, dotSize));
            x += dotSize + 10;
        }
        const QString caption = VoicePill::caption(m_model);
        p.setPen(m_model.text.isEmpty() ? pal.tx2 : pal.tx);
        const QRectF textBox(x, pill.top(), std::min<double>(pill.right() - inset - x, maxTextWidth),
                             pill.height());
        const QString shown = fontMetrics().elidedText(caption, Qt::ElideRight, int(textBox.width()));
        const Qt::Alignment align = m_model.listening ? Qt::AlignLeft : Qt::AlignHCenter;
        p.drawText(textBox, Qt::AlignVCenter | align, shown);
    }

private:
    const bool m_animated;
    PillDisplay::Model m_model;
    QVariantAnimation m_pulse;
};

namespace {

// Sizes the card to its content after the model changed the content's width.
void setModel(OVCard& card, const PillDisplay::Model& model) {
    card.findChild<PillContent*>()->setModel(model);
    card.adjustSize();
}

} // namespace

OVCard* makePillCard(const PillDisplay::Model& model, bool pulse) {
    auto* card = new OVCard({.radius = pillSize.height() / 2.0, .padding = 0}, new PillContent(pulse));
    card->setAttribute(Qt::WA_TransparentForMouseEvents);
    setModel(*card, model);
    return card;
}

FloatingPanel* makePillPanel(const PillDisplay::Model& model, bool composited, bool pulse) {
    auto* panel = new FloatingPanel(composited);
    // Never in the way: clicks go to the window beneath and the focus stays where it is.
    panel->setAttribute(Qt::WA_TransparentForMouseEvents);
    panel->setWindowFlag(Qt::WindowTransparentForInput);
    panel->setAttribute(Qt::WA_ShowWithoutActivating);
    OVCard* card = makePillCard(model, pulse);
    card->setParent(panel);
    panel->fitTo(*card, card->size());
    return panel;
}

ScreenPillDisplay::ScreenPillDisplay(std::function<Motion()> motion, PanelDesktop desktop)
    : m_motion(std::move(motion)), m_desktop(std::move(desktop)) {}

ScreenPillDisplay::~ScreenPillDisplay() {
    delete m_panel.data();
}

void ScreenPillDisplay::present(const Model& model) {
    const bool fresh = !m_panel;
    if (fresh) {
        m_panel = makePillPanel(model, m_desktop.composited(), !m_motion().reduced());
    } else {
        auto* card = m_panel->findChild<OVCard*>();
        setModel(*card, model);
        m_panel->fitTo(*card, card->size());
    }
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        const QRect frame = screen->availableGeometry();
        m_panel->place(
            QPoint(frame.center().x() - m_panel->width() / 2, frame.top() + belowTop - OVCard::shadowMargin));
    }
    if (fresh) {
        m_panel->winId();
        m_desktop.onAllDesktops(*m_panel->windowHandle());
        m_panel->appear(m_motion());
    }
}

void ScreenPillDisplay::withdraw() {
    if (!m_panel) return;
    m_panel->hide();
    m_panel->deleteLater();
    m_panel = nullptr;
}

QWidget* ScreenPillDisplay::panel() const {
    return m_panel;
}
