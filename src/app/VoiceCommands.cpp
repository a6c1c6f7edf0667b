#include "app/VoiceCommands.h"

#include "app/Capture.h"
#include "app/Pinning.h"
#include "app/TuneIn.h"
#include "core/Log.h"
#include "recording/Session.h"
#include "server/API.h"
#include "server/Settings.h"
#include "surfaces/HUD.h"
#include "surfaces/Nudges.h"
#include "voice/NoteCard.h"
#include "voice/PinQueue.h"
#include "voice/VoiceIntent.h"
#include "voice/VoicePill.h"

#include <QPointer>

using namespace std::chrono_literals;

namespace {

const QString clickHint = QStringLiteral("Listening\u2026 click Voice again when done");

QString curlyQuoted(const QString& text) {
    return QStringLiteral("\u201c") + text + QStringLiteral("\u201d");
}

} // namespace

VoiceCommands::VoiceCommands(Needs needs, QObject* parent) : QObject(parent), m_needs(std::move(needs)) {
    m_poll.setInterval(1s);
    connect(&m_poll, &QTimer::timeout, this, [this] {
        if (m_downAt.msecsTo(m_needs.now()) > std::chrono::milliseconds(longest).count()) voiceUp();
    });
}

VoiceCommands::~VoiceCommands() = default;

void VoiceCommands::click() {
    if (m_held) return voiceUp();
    m_byClick = true;
    voiceDown();
}

void VoiceCommands::voiceDown() {
    const bool byClick = std::exchange(m_byClick, false);
    if (m_held || m_needs.pinning.pinning() || m_needs.listener.listening()) return;
    m_held = true;
    m_downAt = m_needs.now();
    const Capture* capture = m_needs.tuneIn.capture();
    m_rec = capture ? capture->session() : nullptr;
    m_at = capture ? capture->elapsed() : 0;
    m_partial.clear();
    m_needs.nudges.dismiss(QStringLiteral("tip"));
    const QPointer<VoiceCommands> self(this);
    // The first answer waits for the speech model to load, as a permission question would.
    m_needs.listener.authorize([self, byClick](bool ok, const QString& message) {
        if (self) self->authorized(ok, message, byClick);
    });
}

void VoiceCommands::authorized(bool ok, const QString& message, bool byClick) {
    // The key went up while the model loaded: nothing starts.
    if (!m_held) return;
    if (!ok) {
        m_held = false;
        m_needs.pill.show(
            false, message.isEmpty() ? QStringLiteral("Voice commands need speech and mic access.") : message,
            6s);
        return;
    }
    const QPointer<VoiceCommands> self(this);
    try {
        m_needs.listener.start([self](const QString& text) {
            if (!self) return;
            self->m_partial = text;
            self->m_needs.pill.update(text);
        });
    } catch (const VoiceError& e) {
        m_held = false;
        m_needs.pill.show(false, QString::fromUtf8(e.what()), 4s);
        return;
    }
    m_needs.pill.show(true, byClick ? clickHint : QString());
    m_needs.hud.model().setListening(true);
    m_poll.start();
    emit changed();
}

void VoiceCommands::voiceUp() {
    m_poll.stop();
    if (!m_held) return;
    m_held = false;
    m_needs.hud.model().setListening(false);
    emit changed();
    if (!m_needs.listener.listening()) return;
    m_needs.pill.show(false, m_partial.isEmpty() ? QStringLiteral("\u2026") : m_partial);
    const QPointer<VoiceCommands> self(this);
    m_needs.listener.stop([self](const VoiceHeard& heard) {
        if (self) self->handle(heard);
    });
}

void VoiceCommands::handle(const VoiceHeard& heard) {
    const QString text = heard.text.trimmed();
    // Words the listener did not take for a command are never one, whatever they begin with.
    const VoiceIntent intent = heard.command
                                   ? VoiceIntent::parse(text)
                                   : VoiceIntent{VoiceIntent::Kind::unknown, VoiceIntent::stripFillers(text)};
    slog(QStringLiteral("voice: %1 -> %2").arg(curlyQuoted(text), VoiceIntent::kindName(intent.kind)));
    if (text.isEmpty()) {
        m_needs.pill.show(false, QString(), 2s);
        return;
    }
    switch (intent.kind) {
    case VoiceIntent::Kind::screenshot:
        return screenshot(intent.text);
    case VoiceIntent::Kind::note:
        return saveNote(intent.text);
    case VoiceIntent::Kind::card:
        return proposeCard(intent.text);
    case VoiceIntent::Kind::unknown:
        return heardOther(intent.text);
    }
}

Capture* VoiceCommands::recordingOfKeyDown() const {
    Capture* capture = m_needs.tuneIn.capture();
    return capture && m_rec && capture->session() == m_rec ? capture : nullptr;
}

void VoiceCommands::screenshot(const QString& note) {
    const QPointer<VoiceCommands> self(this);
    m_needs.grabScreen([self, note](std::optional<QByteArray> jpeg) {
        if (!self) return;
        VoiceCommands& me = *self;
        if (!jpeg) {
            me.m_needs.pill.show(
                false, QStringLiteral("Couldn\u2019t take the screenshot (Screen Recording permission?)"),
                4s);
            return;
        }
        const QString pinNote = note.isEmpty() ? QStringLiteral("the whole screen (voice)") : note;
        Capture* capture = me.recordingOfKeyDown();
        if (capture) {
            capture->addPin(*jpeg, pinNote, me.m_at, false);
            me.m_needs.hud.model().add(FeedItem::Kind::pinned, pinNote);
        } else {
            me.m_needs.queue.add(*jpeg, pinNote);
        }
        QString said = QStringLiteral("Pinned the screen");
        if (!note.isEmpty()) said += QStringLiteral(": ") + note;
        if (!capture) said += QStringLiteral(" (queued)");
        me.m_needs.pill.show(false, said, 3s);
        emit me.changed();
    });
}

void VoiceCommands::saveNote(const QString& text) {
    if (text.isEmpty()) {
        m_needs.pill.show(false, QStringLiteral("Say the note after \u201cnote\u201d"), 4s);
        return;
    }
    const std::optional<QByteArray> jpeg = NoteCard::jpeg(text);
    if (!jpeg) {
        slog(QStringLiteral("voice note: the note card could not be drawn"));
        return;
    }
    Capture* capture = recordingOfKeyDown();
    if (capture) {
        capture->addPin(*jpeg, text, m_at, true);
        m_needs.hud.model().add(FeedItem::Kind::noted, text);
    } else {
        m_needs.queue.add(*jpeg, text, true);
    }
    m_needs.pill.show(
        false, QStringLiteral("Noted: ") + text + (capture ? QString() : QStringLiteral(" (queued)")), 3s);
    emit changed();
}

void VoiceCommands::proposeCard(const QString& text) {
    if (text.isEmpty()) {
        m_needs.pill.show(
            false,
            QStringLiteral(
                "Say the card after \u201ccard\u201d, e.g. \u201ccard send the spec to Mara\u201d"),
            4s);
        return;
    }
    const Settings& settings = m_needs.settings;
    if (!settings.signedIn()) {
        m_needs.pill.show(false, QStringLiteral("Sign in to Orvane first (Settings)"), 4s);
        return;
    }
    const std::optional<Workspace> home = settings.home();
    const std::optional<API> api = settings.api(home);
    if (!home || !api) {
        m_needs.pill.show(false, QStringLiteral("Your account has no project yet"), 4s);
        return;
    }
    m_needs.pill.hide();
    const QPointer<VoiceCommands> self(this);
    m_needs.nudges.show({.kind = QStringLiteral("voiceCard"),
                         .priority = 2,
                         .title = QStringLiteral("Add a card to %1?").arg(home->name),
                         .message = text,
                         .buttons = {{QStringLiteral("Add card"), true,
                                      [self, api = *api, name = home->name, text] {
                                          if (self) self->addCard(api, name, text);
                                      }},
                                     {QStringLiteral("Cancel"), false, [] {}}},
                         .timeout = 30s});
}

QCoro::Task<> VoiceCommands::addCard(API api, QString workspace, QString title) {
    const QPointer<VoiceCommands> self(this);
    std::optional<QString> failure;
    try {
        auto creating = api.createTask(title, cardNote);
        co_await std::move(creating);
    } catch (const APIError& e) {
        failure = e.errorDescription();
    }
    if (!self) co_return;
    slog(failure ? QStringLiteral("voice card failed: ") + *failure
                 : QStringLiteral("voice card \u2192 ") + workspace);
    m_needs.nudges.show({.kind = QStringLiteral("cardDone"),
                         .priority = 1,
                         .title = failure ? QStringLiteral("Couldn\u2019t add the card: ") + *failure
                                          : QStringLiteral("Card added to %1: %2").arg(workspace, title),
                         .timeout = 4s});
}

void VoiceCommands::heardOther(const QString& text) {
    m_needs.pill.hide();
    const QPointer<VoiceCommands> self(this);
    m_needs.nudges.show({.kind = QStringLiteral("voice"),
                         .priority = 2,
                         .title = QStringLiteral("Heard ") + curlyQuoted(text),
                         .message = QStringLiteral(
                             "Start with \u201cscreenshot\u201d, \u201cnote\u201d or \u201ccard\u201d."),
                         .buttons = {{QStringLiteral("Save as note"), true,
                                      [self, text] {
                                          if (self) self->saveNote(text);
                                      }},
                                     {QStringLiteral("Dismiss"), false, [] {}}},
                         .timeout = 20s});
}
