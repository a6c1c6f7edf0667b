#pragma once

// The tray panel's benchmarks share one crowded day: 200 to-dos in 20 projects, 10 cards, 20 projects, a
// recording, the work day; and the rebuild as the app runs it, with an action behind every row.
#include "surfaces/menu/MenuBuilder.h"
#include "surfaces/menu/MenuModel.h"

namespace bench {

// `variant` changes the clock and every to-do's title, for rebuilds that change everything.
inline MenuInputs crowded(int variant) {
    const QString mark = QString::number(variant);
    MenuInputs in;
    in.account = {true, QStringLiteral("Ada Lovelace"), std::nullopt, std::nullopt};
    in.platformBase = QStringLiteral("https://orvane.app");
    for (int p = 0; p < 20; ++p)
        in.projects.append({QStringLiteral("p%1").arg(p), QStringLiteral("Project %1").arg(p),
                            QStringLiteral("https://orvane.app"), QStringLiteral("Member")});
    in.rec = Rec::Recording{double(variant), 10, 2, true};
    in.todos = {true, true, std::nullopt, false, {}, {QStringLiteral("in progress")}, {}};
    for (int t = 0; t < 200; ++t)
        in.todos.items.append({QString::number(t), QStringLiteral("To-do %1, version %2").arg(t).arg(mark),
                               t % 7 == 0 ? QStringLiteral("In progress") : QStringLiteral("Todo"),
                               QStringLiteral("Topic"), QStringLiteral("S"),
                               QStringLiteral("p%1").arg(t % 20), QStringLiteral("Project %1").arg(t % 20)});
    for (int c = 0; c < 8; ++c)
        in.questions.append(
            {QStringLiteral("s%1").arg(c),
             QStringLiteral("Session %1").arg(c),
             QStringLiteral("Mentions project %1.").arg(c),
             {QStringLiteral("Project 1"), QStringLiteral("Personal"), QStringLiteral("Elsewhere…")},
             0});
    in.queuedPins = 2;
    in.failedSessions = 1;
    in.workday = MenuInputs::Workday{3600, std::nullopt, false, false};
    return in;
}

inline void rebuild(MenuModel& model, const MenuInputs& in) {
    const BuiltMenu built = MenuBuilder::build(in);
    model.begin();
    for (const MenuAction& action : built.actions)
        model.act(action.id, [] {});
    model.commit(built.state);
}

} // namespace bench
