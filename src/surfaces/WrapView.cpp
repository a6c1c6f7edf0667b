#include "surfaces/WrapView.h"

#include "surfaces/Browser.h"
#include "surfaces/WindowBox.h"
#include "surfaces/design/Appearance.h"
#include "surfaces/design/OVButton.h"
#include "surfaces/design/OVFont.h"
#include "surfaces/design/OVLabel.h"
#include "surfaces/design/OVSection.h"
#include "workday/WrapModel.h"

#include <QBoxLayout>
#include <QPainter>
#include <QScrollArea>
#include <QShortcut>
#include <QTimer>

namespace {

// A small turning arc: the server is still at work.
class Spinner : public QWidget {
public:
    Spinner() {
        setFixedSize(16, 16);
        m_turn.setInterval(50);
        connect(&m_turn, &QTimer::timeout, this, [this] {
            m_angle = (m_angle + 30) % 360;
            update();
        });
    }

protected:
    // It turns only while on screen.
    void showEvent(QShowEvent*) override { m_turn.start(); }
    void hideEvent(QHideEvent*) override { m_turn.stop(); }
    void paintEvent(QPaintEvent*) override {
        const Pal& pal = palOf(this);
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        const QRectF ring = QRectF(rect()).adjusted(2, 2, -2, -2);
        p.setPen(QPen(pal.ln3, 2));
        p.drawEllipse(ring);
        p.setPen(QPen(pal.ac, 2, Qt::SolidLine, Qt::RoundCap));
        p.drawArc(ring, -m_angle * 16, 100 * 16);
    }

private:
    QTimer m_turn;
    int m_angle = 90;
};

// One line of a list: its mark, then the text wrapped beside it.
QWidget* markedRow(const QString& mark, const QString& text) {
    auto* row = new QWidget;
    auto* line = new QHBoxLayout(row);
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(8);
    auto* marker = new OVLabel(mark, OVFont::sans(10), OVLabel::Ink::tertiary);
    marker->setFixedWidth(14);
    marker->setAlignment(Qt::AlignTop | Qt::AlignHCenter);
    line->addWidget(marker, 0, Qt::AlignTop);
    line->addWidget(new OVLabel(text, OVFont::sans(10), OVLabel::Ink::text), 1);
    return row;
}

void addList(QVBoxLayout& column, const QString& heading, const QString& mark, const QList<QString>& items) {
    if (items.isEmpty()) return;
    column.addSpacing(10);
    column.addWidget(new OVSection({heading, std::nullopt}));
    for (const QString& item : items)
        column.addWidget(markedRow(mark, item));
}

} // namespace

WrapView::WrapView(std::shared_ptr<WrapModel> model, Browser& browser, QWidget* parent)
    : WindowView(parent), m_model(std::move(model)) {
    setMinimumSize(460, 420);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(24, 20, 24, 16);
    column->setSpacing(8);

    auto* top = new QHBoxLayout;
    top->addWidget(
        new OVLabel(QStringLiteral("Your day"), OVFont::sans(18, QFont::ExtraBold), OVLabel::Ink::text));
    top->addStretch(1);
    m_spinner = new Spinner;
    top->addWidget(m_spinner);
    column->addLayout(top);
    m_phase = new OVLabel(QString(), OVFont::sans(10), OVLabel::Ink::secondary);
    column->addWidget(m_phase);
    m_error = new OVLabel(QString(), OVFont::sans(10), OVLabel::Ink::red);
    column->addWidget(m_error);

    m_scroll = new QScrollArea;
    m_scroll->setWidgetResizable(true);
    m_scroll->setFrameShape(QFrame::NoFrame);
    m_scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_scroll->viewport()->setAutoFillBackground(false);
    column->addWidget(m_scroll, 1);

    auto* buttons = new QHBoxLayout;
    buttons->setContentsMargins(0, 8, 0, 0);
    buttons->addStretch(1);
    auto* close = new OVButton(QStringLiteral("Close"), {OVButtonStyle::Kind::ghost});
    connect(close, &QAbstractButton::clicked, this, [this] { window()->close(); });
    buttons->addWidget(close);
    if (const std::optional<QUrl> board = m_model->board()) {
        auto* open = new OVButton(QStringLiteral("Open board"), {OVButtonStyle::Kind::primary});
        connect(open, &QAbstractButton::clicked, this, [&browser, url = *board] { browser.open(url); });
        buttons->addWidget(open);
        // The default action: Return opens the board wherever the focus is in the window.
        for (const int key : {Qt::Key_Return, Qt::Key_Enter}) {
            auto* shortcut = new QShortcut(QKeySequence(key), this);
            shortcut->setContext(Qt::WindowShortcut);
            connect(shortcut, &QShortcut::activated, open, &QAbstractButton::click);
        }
    }
    column->addLayout(buttons);

    connect(m_model.get(), &WrapModel::changed, this, &WrapView::refresh);
    refresh();
}

QWidget* WrapView::open(WindowBox& box, std::shared_ptr<WrapModel> model, Browser& browser) {
    return box.show(windowKey, title, new WrapView(std::move(model), browser));
}

void WrapView::refresh() {
    const WrapModel& m = *m_model;
    m_spinner->setVisible(m.running());
    m_phase->setText(m.phase());
    m_phase->setVisible(m.running());
    m_error->setText(m.error().value_or(QString()));
    m_error->setVisible(m.error().has_value());
    // The day is drawn anew: it changes once or twice in a run.
    delete m_scroll->takeWidget();
    m_scroll->setWidget(dayContent());
    m_scroll->widget()->setAutoFillBackground(false);
}

QWidget* WrapView::dayContent() const {
    const WrapModel& m = *m_model;
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(0, 4, 8, 4);
    column->setSpacing(4);
    if (m.summary()) {
        auto* summary = new OVLabel(*m.summary(), OVFont::sans(11), OVLabel::Ink::text);
        summary->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        column->addWidget(summary);
    }
    addList(*column, QStringLiteral("Highlights"), QStringLiteral("\u2022"), m.highlights());
    addList(*column, QStringLiteral("Tomorrow"), QStringLiteral("\u2192"), m.tomorrow());
    QList<QString> cards;
    for (const WrapModel::Card& card : m.cards())
        cards.append(card.second);
    addList(*column, QStringLiteral("Follow-ups added to your inbox"), QStringLiteral("\u2610"), cards);
    column->addStretch(1);
    return content;
}

QSize WrapView::sizeHint() const {
    return {540, 580};
}
