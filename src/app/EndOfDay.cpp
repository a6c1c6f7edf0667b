#include "app/EndOfDay.h"

#include "core/Fmt.h"
#include "core/Log.h"
#include "server/Settings.h"
#include "surfaces/WrapView.h"
#include "workday/WorkdayTracker.h"
#include "workday/WrapModel.h"

#include <QCoroTimer>
#include <QPointer>

namespace {

const QString uploading = QStringLiteral("Uploading today\u2019s activity\u2026");
const QString writing =
    QStringLiteral("Writing your end-of-day summary \u2014 this takes 1\u20133 minutes\u2026");

QString described(const APIError& error) {
    return error.isMissing() ? QStringLiteral("This workspace needs an update before it can end your day.")
                             : error.errorDescription();
}

QString outcome(const WrapModel& model) {
    if (model.error()) return *model.error();
    return QStringLiteral("done, %1 highlights, %2 for tomorrow, %3 follow-ups")
        .arg(model.highlights().size())
        .arg(model.tomorrow().size())
        .arg(model.cards().size());
}

} // namespace

EndOfDay::EndOfDay(Needs needs, QObject* parent)
    : QObject(parent), m_settings(needs.settings), m_tracker(needs.tracker), m_windows(needs.windows),
      m_browser(needs.browser), m_now(std::move(needs.now)), m_sleep(std::move(needs.sleep)) {}

QCoro::Task<> EndOfDay::timerSleep(std::chrono::milliseconds duration) {
    co_await QCoro::sleepFor(duration);
}

void EndOfDay::wrapUp() {
    const std::optional<Workspace> home = m_settings.home();
    const std::optional<API> api = m_settings.api(home);
    if (!home || !api) {
        slog(QStringLiteral("end of day: no home destination, the settings open"));
        emit settingsWanted();
        return;
    }
    auto model = std::make_shared<WrapModel>(home->link(QStringLiteral("board")));
    m_latest = model;
    WrapView::open(m_windows, model, m_browser);
    const QString day = Fmt::day(m_now());
    slog(QStringLiteral("end of day: %1 on %2").arg(day, home->name));
    run(std::move(model), *api, day);
}

// The run needs nothing of the flow after its first wait but the signal: it goes on, and ends cleanly, when
// the program is taken down under it.
QCoro::Task<> EndOfDay::run(std::shared_ptr<WrapModel> model, API api, QString day) {
    const QPointer<EndOfDay> self(this);
    const Sleeper sleep = m_sleep;
    int polls = 0;
    try {
        if (m_settings.trackWorkday()) {
            model->setPhase(uploading);
            m_tracker.sample(m_settings.includeTitles(), m_now());
            auto upload = m_tracker.upload(api);
            co_await std::move(upload);
            if (self) emit self->workdayUploaded(self->m_now());
        }
        model->setPhase(writing);
        auto start = api.startWrap(day);
        co_await std::move(start);
        while (true) {
            auto pause = sleep(pollInterval);
            co_await std::move(pause);
            auto asking = api.wrapStatus(day);
            const WrapStatus status = co_await std::move(asking);
            const int n = polls++;
            if (status.status == QLatin1String("done")) {
                model->setResult(status);
                break;
            }
            if (status.status == QLatin1String("error")) {
                model->setError(
                    status.error.value_or(QStringLiteral("The end-of-day summary failed on the server.")));
                break;
            }
            if (status.status == QLatin1String("none") && n >= registerPolls) {
                model->setError(QStringLiteral("The server did not start the end-of-day summary."));
                break;
            }
            if (n == pollLimit - 1) {
                model->setError(QStringLiteral("Still running \u2014 the result will be on the board."));
                break;
            }
        }
    } catch (const APIError& error) {
        model->setError(described(error));
    }
    model->stop();
    slog(QStringLiteral("end of day %1 after %2 polls: %3").arg(day).arg(polls).arg(outcome(*model)));
}
