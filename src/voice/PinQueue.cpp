#include "voice/PinQueue.h"

#include "core/Fmt.h"
#include "core/JSONFile.h"
#include "core/Log.h"
#include "core/Strings.h"

#include <QDir>
#include <QFile>

QJsonValue QueuedPin::toJson() const {
    QJsonObject o{{"at", Json::fromDate(at)}, {"note", note}, {"file", file}};
    Json::put(o, "textOnly", textOnly);
    return o;
}

QueuedPin QueuedPin::fromJson(const QJsonValue& v) {
    const QJsonObject o = Json::object(v);
    return {Json::get<QDateTime>(o, "at"), Json::get<QString>(o, "note"), Json::get<QString>(o, "file"),
            Json::getOptional<bool>(o, "textOnly")};
}

QList<QueuedPin> PinQueue::all() const {
    const std::optional<QJsonValue> value = JSONFile::readValue(url());
    if (!value) return {};
    try {
        return Json::decodeList<QueuedPin>(*value);
    } catch (const Json::DecodeError&) {
        return {};
    }
}

void PinQueue::add(const QByteArray& jpeg, const QString& note, bool textOnly, const QDateTime& now) {
    QList<QueuedPin> queue = all();
    const QString name =
        QStringLiteral("pin-%1-%2.jpg")
            .arg(Fmt::stamp(now), QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper());
    QFile image(Paths::ensure(m_folder) + QLatin1Char('/') + name);
    // Unbuffered, so that the write itself tells of a full disk, and the partial image can go.
    if (!image.open(QIODevice::WriteOnly | QIODevice::Unbuffered) || image.write(jpeg) != jpeg.size()) {
        slog(QStringLiteral("queue pin: ") + image.errorString());
        image.remove();
        return;
    }
    image.close();
    queue.append({now.toUTC(), note, name, textOnly ? std::optional<bool>(true) : std::nullopt});
    try {
        JSONFile::write(Json::encode(queue), url());
    } catch (const JSONFile::WriteError& e) {
        slog(QStringLiteral("queue pin: ") + QString::fromUtf8(e.what()));
        image.remove();
    }
}

std::shared_ptr<Session> PinQueue::toSession(const std::optional<QUuid>& workspace,
                                             const QString& recordings) {
    const QList<QueuedPin> queue = all();
    if (queue.isEmpty()) return nullptr;
    const QDateTime first = queue.first().at;
    auto session = Session::create(QStringLiteral("Pins · ") + Fmt::human(first), QStringLiteral("Screen"),
                                   workspace, first, recordings);
    // A pin that could not be copied stays queued with its image, for the next send.
    QList<QueuedPin> left;
    for (const QueuedPin& pin : queue) {
        QFile image(m_folder + QLatin1Char('/') + pin.file);
        if (!image.open(QIODevice::ReadOnly)) {
            slog(QStringLiteral("queued pin %1: %2").arg(pin.file, image.errorString()));
            if (image.exists()) left.append(pin);
            continue;
        }
        const QByteArray jpeg = image.readAll();
        image.close();
        const qsizetype before = session->meta.pins.size();
        session->addPin(round1(first.msecsTo(pin.at) / 1000.0), pin.note, jpeg, false,
                        pin.textOnly.value_or(false));
        // The queued image goes only once its copy is in the session.
        if (session->meta.pins.size() > before)
            image.remove();
        else
            left.append(pin);
    }
    if (session->meta.pins.isEmpty()) {
        // Nothing made it: no empty session to send.
        slog(QStringLiteral("queued pins: none could be copied, %1 stay queued").arg(left.size()));
        QDir(session->dir).removeRecursively();
        session.reset();
    } else {
        session->meta.ended = queue.last().at.addSecs(1);
        session->save();
    }
    if (left.isEmpty()) {
        QFile::remove(url());
        return session;
    }
    try {
        JSONFile::write(Json::encode(left), url());
    } catch (const JSONFile::WriteError& e) {
        // The old queue stays; the pins now in the session have no image left, so the next send skips them.
        slog(QStringLiteral("queue pin: ") + QString::fromUtf8(e.what()));
    }
    return session;
}
