#include "surfaces/HUDModel.h"

namespace {
struct TrackWords {
    const char* silent;
    const char* back;
};
constexpr TrackWords systemWords{"No sound from the other side for 60 s", "Sound from the other side again"};
constexpr TrackWords micWords{"No sound from your mic for 60 s", "Sound from your mic again"};
} // namespace

HUDModel::HUDModel(Clock now, QObject* parent) : QObject(parent), m_now(std::move(now)) {}

QString HUDModel::modeName(Mode mode) {
    switch (mode) {
    case Mode::pill:
        return QStringLiteral("pill");
    case Mode::card:
        return QStringLiteral("card");
    case Mode::dot:
        return QStringLiteral("dot");
    }
    return {};
}

std::optional<HUDModel::Mode> HUDModel::modeNamed(const QString& name) {
    for (Mode mode : {Mode::pill, Mode::card, Mode::dot})
        if (modeName(mode) == name) return mode;
    return std::nullopt;
}

void HUDModel::reset(const QDateTime& started, bool micOk) {
    m_started = started;
    m_micOk = micOk;
    m_feed.clear();
    m_hearing = false;
    m_listening = false;
    m_system = Track::sound;
    m_mic = micOk ? Track::sound : Track::off;
    emit changed();
}

void HUDModel::add(FeedItem::Kind kind, const QString& text) {
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty()) return;
    if (!m_feed.isEmpty() && m_feed.front().kind == kind && m_feed.front().text == trimmed) return;
    m_feed.prepend({QUuid::createUuid(), kind, trimmed, m_now()});
    while (m_feed.size() > keep)
        m_feed.removeLast();
    emit changed();
    emit rowAdded();
}

void HUDModel::set(Mode mode) {
    const bool differs = mode != m_mode;
    m_mode = mode;
    if (differs) emit changed();
    emit modeChanged(mode);
}

void HUDModel::setHearing(bool hearing) {
    if (hearing == m_hearing) return;
    m_hearing = hearing;
    emit changed();
}

void HUDModel::setListening(bool listening) {
    if (listening == m_listening) return;
    m_listening = listening;
    emit changed();
}

void HUDModel::setTracks(Track system, Track mic) {
    const auto report = [this](Track before, Track now, const TrackWords& words) {
        if (before != Track::silent && now == Track::silent)
            add(FeedItem::Kind::info, QString::fromLatin1(words.silent));
        else if (before == Track::silent && now == Track::sound)
            add(FeedItem::Kind::info, QString::fromLatin1(words.back));
    };
    const Track systemBefore = std::exchange(m_system, system), micBefore = std::exchange(m_mic, mic);
    report(systemBefore, system, systemWords);
    report(micBefore, mic, micWords);
    if (systemBefore != system || micBefore != mic) emit changed();
}
