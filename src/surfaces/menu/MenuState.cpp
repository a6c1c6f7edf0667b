#include "surfaces/menu/MenuState.h"

#include "core/Fmt.h"

#include <QStringList>

namespace {

QString recLine(const Rec::State& rec) {
    struct Line {
        QString operator()(const Rec::Idle&) const {
            return QStringLiteral("[Tune in Ctrl+Alt+R]\n  records screen & audio");
        }
        QString operator()(const Rec::Starting&) const { return QStringLiteral("[Tuning in\u2026]"); }
        QString operator()(const Rec::Saving&) const { return QStringLiteral("[Saving session\u2026]"); }
        QString operator()(const Rec::Recording& r) const {
            return QStringLiteral(
                       "[\u25CF Orvane active %1 \u00B7 recording screen & audio \u00B7 %2 shots \u00B7 "
                       "%3 pins \u2014 Wrap up]")
                .arg(Fmt::clock(r.elapsed))
                .arg(r.shots)
                .arg(r.pins);
        }
    };
    return std::visit(Line{}, rec);
}

QString withKey(const MBtn& button, const QString& gap) {
    return button.kbd ? button.title + gap + *button.kbd : button.title;
}

} // namespace

QString MenuState::dump() const {
    QStringList lines{name + QStringLiteral(" \u2014 ") + sub, QStringLiteral("  ") + status, recLine(rec)};
    if (openBoard) lines << QStringLiteral("[Open board Ctrl+O]");
    QStringList buttons;
    for (const MBtn& button : quick)
        buttons << withKey(button, QStringLiteral(" "));
    lines << buttons.join(QStringLiteral("  "));
    for (const Attn& card : attention) {
        QString head = QStringLiteral("[ ") + card.tag.toUpper() + QStringLiteral(" ] ") + card.title;
        if (card.detail) head += QStringLiteral(" \u2014 ") + *card.detail;
        lines << head;
        for (const MBtn& button : card.buttons)
            lines << QStringLiteral("    ") +
                         (button.primary ? QStringLiteral("\u25B8 ") : QStringLiteral("  ")) + button.title;
    }
    QString upNext = QStringLiteral("// UP NEXT (%1)").arg(upNextCount);
    if (upNextNote) upNext += QStringLiteral(" \u2014 ") + *upNextNote;
    lines << upNext;
    for (const Group& group : groups) {
        lines << QStringLiteral("  ") + group.name;
        for (const TodoRow& row : group.items)
            lines << QStringLiteral("    ") + (row.busy ? QStringLiteral("\u25B6 ") : QString()) + row.title +
                         (row.start ? QStringLiteral("  [Start]") : QString()) + QStringLiteral("  [Done]");
    }
    if (workday)
        lines << workday->line + (workday->button
                                      ? QStringLiteral("  [") + workday->button->title + QLatin1Char(']')
                                      : QString());
    if (!projects.isEmpty()) {
        lines << QStringLiteral("// PROJECTS");
        for (const Proj& project : projects)
            lines << QStringLiteral("  ") + project.name +
                         (project.seat ? QStringLiteral(" \u00B7 ") + *project.seat : QString());
    }
    for (const FooterRow& row : footer)
        lines << withKey(row.button, QStringLiteral("  "));
    return lines.join(QLatin1Char('\n'));
}
