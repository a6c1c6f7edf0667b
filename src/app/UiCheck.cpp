#include "app/UiCheck.h"

#include "surfaces/HUD.h"
#include "surfaces/Nudges.h"
#include "surfaces/menu/MenuModel.h"
#include "surfaces/popover/PopoverController.h"
#include "surfaces/popover/PopoverPanel.h"
#include "workday/Coach.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWindow>

namespace {
constexpr auto pollEvery = std::chrono::milliseconds(20);
constexpr int triesPerStep = 150; // three seconds for anything to reach the screen

QString rect(const QRect& r) {
    return QStringLiteral("%1,%2 %3x%4").arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height());
}

bool insideAScreen(const QRect& r) {
    const QList<QScreen*> screens = QGuiApplication::screens();
    return std::any_of(screens.begin(), screens.end(),
                       [&](const QScreen* s) { return s->geometry().contains(r); });
}
} // namespace

UiCheck::UiCheck(Needs needs, QObject* parent) : QObject(parent), m_n(std::move(needs)) {
    m_poll.setInterval(pollEvery);
    connect(&m_poll, &QTimer::timeout, this, &UiCheck::poll);
}

void UiCheck::start() {
    m_steps = steps();
    next();
}

QList<UiCheck::Step> UiCheck::steps() {
    QList<Step> s;
    PopoverController& popover = m_n.popover;
    MenuModel& menu = m_n.menu;
    s.append({[&popover] { popover.open({}); },
              [&popover]() -> Seen {
                  const PopoverPanel* panel = popover.panel();
                  if (!panel || !panel->isVisible()) return {false, QStringLiteral("panel not shown")};
                  const QRect frame = panel->cardFrame();
                  const bool focused = QGuiApplication::focusWindow() == panel->windowHandle();
                  return {focused && insideAScreen(frame),
                          QStringLiteral("panel open at %1, focus %2")
                              .arg(rect(frame),
                                   focused ? QStringLiteral("on the panel") : QStringLiteral("elsewhere"))};
              }});
    // Down from nothing is the first row, down again the second, and up goes back.
    const auto select = [&menu](int delta, int expected) {
        return Step{[&menu, delta] { menu.move(delta); },
                    [&menu, expected]() -> Seen {
                        const QStringList order = menu.visibleOrder();
                        const qsizetype index = expected < 0 ? order.size() - 1 : expected;
                        const bool ok =
                            index >= 0 && index < order.size() && menu.selected() == order.at(index);
                        return {ok, QStringLiteral("selection %1, row %2 of %3 expected")
                                        .arg(menu.selected().value_or(QStringLiteral("none")))
                                        .arg(index + 1)
                                        .arg(order.size())};
                    }};
    };
    s << select(1, 0) << select(1, 1) << select(-1, 0) << select(1000, -1);
    s.append(
        {[&popover] { popover.close(); },
         [&popover]() -> Seen {
             const bool shown = popover.panel() && popover.panel()->isVisible();
             return {!shown, shown ? QStringLiteral("panel still shown") : QStringLiteral("panel closed")};
         }});
    HUD& hud = m_n.hud;
    const HUDModel::Mode stored = hud.model().mode();
    for (const HUDModel::Mode mode : {HUDModel::Mode::pill, HUDModel::Mode::card, HUDModel::Mode::dot})
        s.append({[&hud, mode] {
                      if (!hud.frame()) hud.show(QDateTime::currentDateTimeUtc(), true);
                      hud.model().set(mode);
                  },
                  [&hud, mode]() -> Seen {
                      const QRect frame = hud.frame().value_or(QRect());
                      return {!frame.isEmpty() && insideAScreen(frame) && hud.model().mode() == mode,
                              QStringLiteral("hud %1 at %2").arg(HUDModel::modeName(mode), rect(frame))};
                  }});
    Nudges& nudges = m_n.nudges;
    s.append({[&hud, &nudges, stored] {
                  hud.model().set(stored);
                  hud.hide();
                  nudges.show({.kind = QStringLiteral("tip"),
                               .title = QStringLiteral("Tip"),
                               .message = Coach::tips.first(),
                               .timeout = std::chrono::seconds(5)});
              },
              [&nudges]() -> Seen {
                  if (nudges.kind() != QStringLiteral("tip")) return {false, QStringLiteral("no tip shown")};
                  nudges.dismiss();
                  return {true, QStringLiteral("tip shown")};
              }});
    return s;
}

void UiCheck::next() {
    if (++m_at >= m_steps.size()) {
        m_n.print(m_failures == 0 ? QStringLiteral("ui-check: ok")
                                  : QStringLiteral("ui-check: %1 failed").arg(m_failures));
        emit finished(m_failures);
        return;
    }
    m_tries = 0;
    m_steps[m_at].act();
    m_poll.start();
}

void UiCheck::poll() {
    const Step& step = m_steps.at(m_at);
    const Seen seen = step.seen();
    const bool late = !seen.ok && ++m_tries >= triesPerStep;
    if (!seen.ok && !late) return;
    m_poll.stop();
    m_failures += late ? 1 : 0;
    m_n.print(QStringLiteral("ui-check: ") + (late ? QStringLiteral("FAILED: ") : QString()) + seen.line);
    next();
}
