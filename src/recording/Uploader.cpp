#include "recording/Uploader.h"

#include "core/JSONFile.h"
#include "core/Strings.h"
#include "recording/Payload.h"

#include <QDir>
#include <QFile>

namespace Uploader {
namespace {

void report(const Options& options, const QString& text) {
    if (options.progress) options.progress(text);
}

QCoro::Task<> create(Session& session, const API& api, const std::optional<QString>& selfName,
                     const Options& options) {
    report(options, QStringLiteral("Uploading %1 screenshots, %2 pins\u2026")
                        .arg(session.meta.shots.size())
                        .arg(session.meta.pins.size()));
    const QString payload = Payload::write(session, selfName);
    // A failed request leaves the body behind; the next attempt writes it again.
    const QJsonObject reply =
        co_await api.upload("POST", QStringLiteral("/api/calls"), payload, "application/json");
    QFile::remove(payload);
    const std::optional<QString> id = API::str(reply.value(QLatin1String("id")));
    if (!id) throw APIError(0, QStringLiteral("server returned no call id"));
    // From here on a crash cannot create a second call for this session.
    session.meta.callId = *id;
    session.meta.uploadedServer = api.endpoint();
    session.save();
}

QCoro::Task<> sendAudio(Session& session, const API& api, const QString& audio, const Options& options) {
    report(options, QStringLiteral("Uploading audio\u2026"));
    co_await api.upload("POST", QStringLiteral("/api/calls/%1/audio").arg(urlComponent(*session.meta.callId)),
                        audio, "audio/mp4");
    session.meta.audioUploaded = true;
    session.save();
}

QCoro::Task<> startProcessing(Session& session, const API& api, const Options& options) {
    report(options, QStringLiteral("Starting notes\u2026"));
    co_await api.json("POST",
                      QStringLiteral("/api/calls/%1/process").arg(urlComponent(*session.meta.callId)));
    session.meta.processed = true;
    session.save();
}

QCoro::Task<> steps(Session& session, const API& api, const std::optional<QString>& selfName,
                    const Options& options) {
    if (!session.meta.callId) co_await create(session, api, selfName, options);
    if (const auto audio = session.audioURL(); audio && !session.meta.audioUploaded)
        co_await sendAudio(session, api, *audio, options);
    if (options.process && !session.meta.processed) co_await startProcessing(session, api, options);
}

} // namespace

QCoro::Task<QString> upload(std::shared_ptr<Session> session, API api, std::optional<QString> selfName,
                            Options options) {
    SessionMeta& meta = session->meta;
    if (meta.uploadedServer && *meta.uploadedServer != api.endpoint()) {
        // Progress on another server: a re-routed session starts anew.
        meta.callId.reset();
        meta.audioUploaded = false;
        meta.processed = false;
    }
    std::optional<QString> failure;
    std::exception_ptr error;
    try {
        co_await steps(*session, api, selfName, options);
    } catch (const APIError& e) {
        failure = e.errorDescription();
        error = std::current_exception();
    } catch (const JSONFile::WriteError& e) {
        failure = QString::fromUtf8(e.what());
        error = std::current_exception();
    }
    if (error) {
        meta.lastError = failure;
        session->save();
        std::rethrow_exception(error);
    }
    meta.lastError.reset();
    session->save();
    if (!options.keepFiles && (meta.processed || !options.process)) QDir(session->dir).removeRecursively();
    co_return *meta.callId;
}

} // namespace Uploader
