#include "app/AppDelegate.h"
#include "app/Services.h"
#include "recording/Session.h"
#include "surfaces/HotKeys.h"
#include "voice/PinQueue.h"
#include "workday/Windows.h"
#include "workday/WorkdayTracker.h"

// The tray panel's inputs: one plain value read off the flows, from which the panel's rows follow.

namespace {

Rec::State recState(const TuneIn& tuneIn) {
    switch (tuneIn.state()) {
    case TuneIn::State::idle:
        return Rec::Idle{};
    case TuneIn::State::starting:
        return Rec::Starting{};
    case TuneIn::State::saving:
        return Rec::Saving{};
    case TuneIn::State::recording:
        break;
    }
    const Capture& capture = *tuneIn.capture();
    const Capture::Counts counts = capture.counts();
    return Rec::Recording{capture.elapsed(), int(counts.shots), int(counts.pins), capture.micOk()};
}

MenuInputs::Upload uploadInput(const UploadState::State& state) {
    using Kind = MenuInputs::Upload::Kind;
    struct Read {
        MenuInputs::Upload operator()(const UploadState::Idle&) const { return {}; }
        MenuInputs::Upload operator()(const UploadState::Busy& b) const {
            return {Kind::busy, b.text, {}, {}};
        }
        MenuInputs::Upload operator()(const UploadState::Saved& s) const {
            return {Kind::saved, s.title, {}, s.link};
        }
        MenuInputs::Upload operator()(const UploadState::Failed& f) const {
            return {Kind::failed, f.title, f.message, {}};
        }
    };
    return std::visit(Read{}, state);
}

double tracked(const QList<WorkSpan>& spans) {
    double seconds = 0;
    for (const WorkSpan& span : spans)
        seconds += double(span.start.secsTo(span.end));
    return seconds;
}

MenuInputs::Todos todoInputs(const Settings& s, const TodoStore& store) {
    MenuInputs::Todos in;
    in.haveSource = s.signedIn() ? !s.projects().isEmpty() : !s.workspaces().isEmpty();
    in.loaded = store.loaded().has_value();
    in.loadError = store.error();
    in.needsUpdate = store.needsUpdate();
    in.lacking = store.outdated();
    in.startedStatuses = TodoStore::startedStatuses;
    for (const Todo& todo : store.items())
        in.items.append({todo.id, todo.title, todo.status, todo.topic, todo.effort,
                         todo.ws ? std::optional(todo.ws->id.toString(QUuid::WithoutBraces)) : std::nullopt,
                         todo.ws ? todo.ws->name : QString()});
    return in;
}

} // namespace

MenuInputs AppDelegate::menuInputs() const {
    const Settings& s = *m_services.settings;
    MenuInputs in;
    in.account = {s.signedIn(), s.accountName(), s.accountEmail(), s.accountError()};
    in.signInCode = m_account.signIn().code();
    if (!s.workspaces().isEmpty())
        in.legacy = MenuInputs::Legacy{s.myName(s.workspaces().first()), s.workspaces().first().name};
    in.platformBase = s.platformBase();
    for (const Workspace& p : s.projects())
        in.projects.append({p.id.toString(QUuid::WithoutBraces), p.name, p.base(), p.seat});
    in.projectMode = s.projectMode();
    in.rec = recState(m_tuneIn);
    in.pinning = m_pinning.pinning();
    in.voiceKeyOK = m_hotKeys->voiceKeyOK();
    in.queuedPins = int(m_pins->count());
    in.upload = uploadInput(m_upload.state());
    for (const QString& dir : m_filing.openQuestions()) {
        const std::shared_ptr<Session> session = Session::load(dir);
        if (!session) continue;
        MenuInputs::Question question{
            dir.section(QLatin1Char('/'), -1), session->meta.title, m_filing.suggestionReason(dir), {}, 0};
        const QList<Filing::Choice> choices = m_filing.whereChoices(*session);
        for (const Filing::Choice& choice : choices) {
            if (choice.suggested) question.suggested = int(question.choices.size());
            question.choices.append(choice.label);
        }
        in.questions.append(std::move(question));
    }
    // Sessions still on disk: kept for Personal, or stopped by a failed send.
    for (const std::shared_ptr<Session>& session : Session::pending()) {
        if (m_filing.deciding(session->dir) || m_uploads.uploading(session->dir)) continue;
        if (session->meta.waitingPersonal.value_or(false))
            ++in.keptForPersonal;
        else if (session->meta.lastError)
            ++in.failedSessions;
    }
    for (const Reviews::ReviewWatch& w : m_reviews.reviews()) {
        if (!w.ready) continue;
        MenuInputs::Review review{w.id, w.title, {}};
        for (const Reviews::OpenSuggestion& suggestion : w.suggestions)
            review.suggestions.append(suggestion.title);
        in.reviews.append(std::move(review));
    }
    if (const std::optional<FiledRef>& filed = s.lastFiled())
        in.lastFiled = MenuInputs::LastFiled{filed->title, s.destName(filed->dest)};
    in.todos = todoInputs(s, m_todos.store());
    if (s.trackWorkday()) {
        const std::optional<QDateTime>& until = m_tracker->pausedUntil();
        const bool paused = until && *until > m_services.now();
        in.workday = MenuInputs::Workday{
            tracked(m_tracker->spans()),
            paused ? std::optional(QLocale().toString(until->toLocalTime().time(), QLocale::ShortFormat))
                   : std::nullopt,
            paused, m_tracker->needsUpdate(), !m_windows->knowsFrontmost()};
    }
    in.endOfDay = s.homeAPI().has_value();
    return in;
}
