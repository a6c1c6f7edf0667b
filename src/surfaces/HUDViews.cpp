#include "surfaces/HUDViews.h"

#include "core/Fmt.h"
#include "surfaces/design/Appearance.h"
#include "surfaces/design/OVButton.h"
#include "surfaces/design/OVChip.h"
#include "surfaces/design/OVFont.h"
#include "surfaces/design/OVLabel.h"
#include "surfaces/design/OVSection.h"
#include "surfaces/design/Orb.h"

#include <QBoxLayout>
#include <QFontMetrics>
#include <QPainter>

namespace {
const QString active = QStringLiteral("Orvane active");

QString elapsedText(const HUDModel& model, const Clock& now) {
    if (!model.started().isValid()) return Fmt::clock(0);
    return Fmt::clock(std::max<qint64>(0, model.started().secsTo(now())));
}

Tone orbTone(const HUDModel& model) {
    return model.anySilent() ? Tone::amber : Tone::accent;
}

Tone trackTone(HUDModel::Track track) {
    switch (track) {
    case HUDModel::Track::sound:
        return Tone::accent;
    case HUDModel::Track::silent:
        return Tone::amber;
    case HUDModel::Track::off:
        return Tone::silver;
    }
    return Tone::plain;
}

void setOrbTone(Orb* orb, Tone tone) {
    if (orb->value().tone == tone) return;
    OrbValue value = orb->value();
    value.tone = tone;
    orb->setValue(value);
}

void setChipTone(OVChip* chip, Tone tone) {
    if (chip->value().tone != tone) chip->setValue({chip->value().text, tone});
}

OVLabel* clockLabel(OVLabel::Ink ink) {
    auto* label = new OVLabel(Fmt::clock(0), OVFont::mono(9), ink);
    label->setWordWrap(false);
    // Room for hours from the start: the panel is sized when it is drawn, not at each tick.
    label->setMinimumWidth(QFontMetrics(label->font()).horizontalAdvance(QStringLiteral("0:00:00")));
    return label;
}

OVButton* button(const QString& title, OVButtonStyle::Kind kind, const QString& tip, QWidget* owner,
                 void (HUDModel::*wanted)(), HUDModel& model) {
    auto* b = new OVButton(title, {kind, 26});
    if (!tip.isEmpty()) b->setToolTip(tip);
    QObject::connect(b, &QAbstractButton::clicked, owner, [&model, wanted] { emit(model.*wanted)(); });
    return b;
}

QHBoxLayout* row(QWidget* parent = nullptr, int spacing = 8) {
    auto* layout = new QHBoxLayout(parent);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing);
    return layout;
}

} // namespace

// A filled round mark in a tone, with a faint ring round it.
class HUDMark : public QWidget {
public:
    explicit HUDMark(int size) {
        setFixedSize(size, size);
        setAttribute(Qt::WA_TransparentForMouseEvents);
    }
    void setTone(Tone tone) {
        if (tone == m_tone) return;
        m_tone = tone;
        update();
    }

protected:
    void paintEvent(QPaintEvent*) override {
        const QColor ink = toneColor(m_tone, palOf(this));
        QColor ring = ink;
        ring.setAlphaF(0.3f);
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(Qt::NoPen);
        p.setBrush(ring);
        p.drawEllipse(QRectF(rect()));
        p.setBrush(ink);
        p.drawEllipse(QRectF(rect()).adjusted(2.5, 2.5, -2.5, -2.5));
    }

private:
    Tone m_tone = Tone::accent;
};

HUDView::HUDView(HUDModel& model, OVCardValue look, QWidget* parent)
    : OVCard(look, nullptr, parent), m_model(model) {}

HUDPill::HUDPill(HUDModel& model, const LiveMeter* meter, Motion motion, Clock now, QWidget* parent)
    : HUDView(model, {17, false, 7}, parent), m_now(std::move(now)),
      m_orb(new Orb({24, true}, motion, meter)), m_elapsed(clockLabel(OVLabel::Ink::text)) {
    setToolTip(QStringLiteral("Orvane is recording — click for controls"));
    auto* content = new QWidget;
    auto* layout = row(content);
    layout->setContentsMargins(2, 0, 6, 0);
    layout->addWidget(m_orb);
    layout->addWidget(m_elapsed);
    auto* label = new OVLabel(active, OVFont::sans(9), OVLabel::Ink::secondary);
    label->setWordWrap(false);
    layout->addWidget(label);
    setContent(content);
    HUDPill::refresh();
}

void HUDPill::refresh() {
    setOrbTone(m_orb, orbTone(m_model));
    HUDPill::tick();
}

void HUDPill::setSnapshot(bool snapshot) {
    m_orb->setSnapshot(snapshot);
}

void HUDPill::tick() {
    m_elapsed->setText(elapsedText(m_model, m_now));
}

HUDCard::HUDCard(HUDModel& model, const LiveMeter* meter, Motion motion, Clock now, QWidget* parent)
    : HUDView(model, {14, true, 12}, parent), m_now(std::move(now)),
      m_orb(new Orb({28, true}, motion, meter)), m_elapsed(clockLabel(OVLabel::Ink::secondary)),
      m_otherSide(new OVChip({QStringLiteral("other side")})), m_you(new OVChip({QStringLiteral("you")})),
      m_feed(new QVBoxLayout),
      m_hearingNote(
          new OVLabel(QStringLiteral("Live speech recognition runs on this computer only; nothing is "
                                     "stored."),
                      OVFont::sans(8), OVLabel::Ink::tertiary)),
      m_voice(button({}, OVButtonStyle::Kind::ghost,
                     QStringLiteral("Click, speak, click again (or hold Ctrl+Alt+Space)"), this,
                     &HUDModel::voiceWanted, model)) {
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(10);

    auto* head = row(nullptr, 10);
    head->addWidget(m_orb, 0, Qt::AlignVCenter);
    auto* title = new QVBoxLayout;
    title->setSpacing(1);
    title->addWidget(new OVLabel(active, OVFont::sans(10, QFont::DemiBold), OVLabel::Ink::text));
    title->addWidget(m_elapsed);
    head->addLayout(title, 1);
    head->addWidget(m_otherSide, 0, Qt::AlignVCenter);
    head->addWidget(m_you, 0, Qt::AlignVCenter);
    auto* collapse = new OVButton(QStringLiteral("\u2303"), {OVButtonStyle::Kind::quiet, 22});
    collapse->setToolTip(QStringLiteral("Collapse"));
    collapse->setAccessibleName(QStringLiteral("Collapse"));
    connect(collapse, &QAbstractButton::clicked, this, [this] { m_model.set(HUDModel::Mode::pill); });
    head->addWidget(collapse, 0, Qt::AlignVCenter);
    column->addLayout(head);

    column->addWidget(new OVSection({QStringLiteral("Picking up"), std::nullopt}));
    m_feed->setSpacing(6);
    column->addLayout(m_feed);
    column->addWidget(m_hearingNote);

    auto* buttons = row(nullptr, 4);
    using Kind = OVButtonStyle::Kind;
    buttons->addWidget(button(QStringLiteral("Pin"), Kind::ghost, QStringLiteral("Pin a region (Ctrl+Alt+P)"),
                              this, &HUDModel::pinWanted, model));
    m_voice->setAccessibleName(QStringLiteral("Voice"));
    buttons->addWidget(m_voice);
    auto* hide = new OVButton(QStringLiteral("\u21F2"), {Kind::quiet, 26});
    hide->setToolTip(
        QStringLiteral("Hide: shrink to a dot at the screen edge. The tray icon still shows that "
                       "Orvane is recording."));
    hide->setAccessibleName(QStringLiteral("Hide"));
    connect(hide, &QAbstractButton::clicked, this, [this] { m_model.set(HUDModel::Mode::dot); });
    buttons->addWidget(hide);
    buttons->addStretch();
    buttons->addWidget(
        button(QStringLiteral("Wrap up"), Kind::primary, {}, this, &HUDModel::stopWanted, model));
    column->addLayout(buttons);

    setContent(content);
    setFixedWidth(width + 2 * shadowMargin);
    HUDCard::refresh();
}

void HUDCard::setSnapshot(bool snapshot) {
    m_orb->setSnapshot(snapshot);
}

void HUDCard::refresh() {
    setOrbTone(m_orb, orbTone(m_model));
    setChipTone(m_otherSide, trackTone(m_model.system()));
    setChipTone(m_you, trackTone(m_model.mic()));
    m_hearingNote->setVisible(m_model.hearing());
    // A filled glyph while the voice listener listens.
    m_voice->setText(m_model.listening() ? QStringLiteral("\u25C9 Voice") : QStringLiteral("\u25CB Voice"));
    m_voice->updateGeometry();
    fillFeed();
    HUDCard::tick();
}

void HUDCard::tick() {
    m_elapsed->setText(elapsedText(m_model, m_now));
}

void HUDCard::fillFeed() {
    while (QLayoutItem* old = m_feed->takeAt(0)) {
        delete old->widget();
        delete old->layout();
        delete old;
    }
    // Shown at once: a widget added to a card on screen would otherwise show only later, after the card
    // has been measured without it.
    const auto append = [this](QWidget* line) {
        m_feed->addWidget(line);
        line->show();
    };
    if (m_model.feed().isEmpty()) {
        append(new OVLabel(
            QStringLiteral("Watching your screen and listening. What Orvane picks up shows here."),
            OVFont::sans(9), OVLabel::Ink::tertiary));
        return;
    }
    QFont labelFont = OVFont::mono(7, QFont::DemiBold);
    labelFont.setCapitalization(QFont::AllUppercase);
    labelFont.setLetterSpacing(QFont::PercentageSpacing, 106);
    for (const HUDModel::Row& r : m_model.feed()) {
        auto* line = new QWidget;
        auto* layout = row(line, 8);
        auto* label = new OVLabel(FeedItem::label(r.kind), labelFont, OVLabel::Ink::tertiary);
        label->setWordWrap(false);
        label->setFixedWidth(64);
        label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
        label->setContentsMargins(0, 2, 0, 0); // on the text's first line, not above it
        layout->addWidget(label, 0, Qt::AlignTop);
        layout->addWidget(new OVLabel(r.text, OVFont::sans(9), OVLabel::Ink::text), 1);
        append(line);
    }
}

HUDDot::HUDDot(HUDModel& model, QWidget* parent)
    : HUDView(model, {10, false, 4}, parent), m_mark(new HUDMark(12)) {
    setToolTip(QStringLiteral("Orvane is recording — click to show"));
    setContent(m_mark);
    HUDDot::refresh();
}

void HUDDot::refresh() {
    m_mark->setTone(orbTone(m_model));
}
