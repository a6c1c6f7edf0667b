#include "recording/Session.h"

#include "core/Fmt.h"
#include "core/JSONFile.h"
#include "core/Log.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>

QJsonValue ShotMeta::toJson() const {
    return QJsonObject{{"t", t}, {"file", file}};
}

ShotMeta ShotMeta::fromJson(const QJsonValue& v) {
    const QJsonObject o = Json::object(v);
    return {Json::get<double>(o, "t"), Json::get<QString>(o, "file")};
}

QJsonValue PinMeta::toJson() const {
    QJsonObject o{{"t", t}, {"note", note}, {"file", file}};
    Json::put(o, "auto", isAuto);
    Json::put(o, "textOnly", textOnly);
    return o;
}

PinMeta PinMeta::fromJson(const QJsonValue& v) {
    const QJsonObject o = Json::object(v);
    return {Json::get<double>(o, "t"), Json::get<QString>(o, "note"), Json::get<QString>(o, "file"),
            Json::getOptional<bool>(o, "auto"), Json::getOptional<bool>(o, "textOnly")};
}

QJsonValue OcrEntry::toJson() const {
    return QJsonObject{{"t", t}, {"app", app}, {"text", text}};
}

OcrEntry OcrEntry::fromJson(const QJsonValue& v) {
    const QJsonObject o = Json::object(v);
    return {Json::get<double>(o, "t"), Json::get<QString>(o, "app"), Json::get<QString>(o, "text")};
}

QJsonValue AppSpan::toJson() const {
    QJsonObject o{{"t", t}, {"end", end}, {"app", app}};
    Json::put(o, "title", title);
    return o;
}

void AppSpan::merge(QList<AppSpan>& spans, double t, const QString& app, const std::optional<QString>& title,
                    double gap) {
    if (!spans.isEmpty()) {
        AppSpan& last = spans.last();
        if (last.app == app && last.title == title && t - last.end <= gap) {
            last.end = std::max(last.end, t);
            return;
        }
        if (last.end < t) last.end = t;
    }
    spans.append(AppSpan{t, t, app, title});
}

AppSpan AppSpan::fromJson(const QJsonValue& v) {
    const QJsonObject o = Json::object(v);
    return {Json::get<double>(o, "t"), Json::get<double>(o, "end"), Json::get<QString>(o, "app"),
            Json::getOptional<QString>(o, "title")};
}

QJsonValue Routed::toJson() const {
    QJsonObject o{{"score", score}, {"auto", isAuto}};
    Json::put(o, "reasons", reasons);
    return o;
}

Routed Routed::fromJson(const QJsonValue& v) {
    const QJsonObject o = Json::object(v);
    return {Json::get<double>(o, "score"), Json::getList<QString>(o, "reasons"), Json::get<bool>(o, "auto")};
}

QString SessionMeta::effectiveKind() const {
    if (kind) return *kind;
    return fromCall || callApp ? QStringLiteral("call") : QStringLiteral("session");
}

QJsonValue SessionMeta::toJson() const {
    QJsonObject o;
    Json::put(o, "title", title);
    Json::put(o, "app", app);
    Json::put(o, "started", started);
    Json::put(o, "ended", ended);
    Json::put(o, "participants", participants);
    Json::put(o, "workspaceID", workspaceID);
    Json::put(o, "micOk", micOk);
    Json::put(o, "shots", shots);
    Json::put(o, "pins", pins);
    Json::put(o, "levelsMic", levelsMic);
    Json::put(o, "levelsTab", levelsTab);
    Json::put(o, "audioFile", audioFile);
    Json::put(o, "fromCall", fromCall);
    Json::put(o, "kind", kind);
    Json::put(o, "callApp", callApp);
    Json::put(o, "ocr", ocr);
    Json::put(o, "apps", apps);
    Json::put(o, "routed", routed);
    Json::put(o, "routeDone", routeDone);
    Json::put(o, "personal", personal);
    Json::put(o, "waitingPersonal", waitingPersonal);
    Json::put(o, "callId", callId);
    Json::put(o, "audioUploaded", audioUploaded);
    Json::put(o, "processed", processed);
    Json::put(o, "lastError", lastError);
    Json::put(o, "uploadedServer", uploadedServer);
    return o;
}

SessionMeta SessionMeta::fromJson(const QJsonValue& v) {
    const QJsonObject o = Json::object(v);
    SessionMeta m;
    m.title = Json::get<QString>(o, "title");
    m.app = Json::get<QString>(o, "app");
    m.started = Json::get<QDateTime>(o, "started");
    m.ended = Json::getOptional<QDateTime>(o, "ended");
    m.participants = Json::getList<QString>(o, "participants");
    m.workspaceID = Json::getOptional<QUuid>(o, "workspaceID");
    m.micOk = Json::get<bool>(o, "micOk");
    m.shots = Json::getList<ShotMeta>(o, "shots");
    m.pins = Json::getList<PinMeta>(o, "pins");
    m.levelsMic = Json::getList<Span>(o, "levelsMic");
    m.levelsTab = Json::getList<Span>(o, "levelsTab");
    m.audioFile = Json::getOptional<QString>(o, "audioFile");
    m.fromCall = Json::get<bool>(o, "fromCall");
    m.kind = Json::getOptional<QString>(o, "kind");
    m.callApp = Json::getOptional<QString>(o, "callApp");
    m.ocr = Json::getOptionalList<OcrEntry>(o, "ocr");
    m.apps = Json::getOptionalList<AppSpan>(o, "apps");
    m.routed = Json::getOptional<Routed>(o, "routed");
    m.routeDone = Json::getOptional<bool>(o, "routeDone");
    m.personal = Json::getOptional<bool>(o, "personal");
    m.waitingPersonal = Json::getOptional<bool>(o, "waitingPersonal");
    m.callId = Json::getOptional<QString>(o, "callId");
    m.audioUploaded = Json::get<bool>(o, "audioUploaded");
    m.processed = Json::get<bool>(o, "processed");
    m.lastError = Json::getOptional<QString>(o, "lastError");
    m.uploadedServer = Json::getOptional<QString>(o, "uploadedServer");
    return m;
}

std::shared_ptr<Session> Session::create(const QString& title, const QString& app,
                                         const std::optional<QUuid>& workspace, const QDateTime& started,
                                         const QString& base) {
    const QString stamp = Fmt::stamp(started);
    QString dir = base + QLatin1Char('/') + stamp;
    for (int n = 2; QFileInfo::exists(dir); ++n)
        dir = base + QLatin1Char('/') + stamp + QLatin1Char('-') + QString::number(n);
    Paths::ensure(dir + QStringLiteral("/shots"));
    Paths::ensure(dir + QStringLiteral("/pins"));
    SessionMeta meta;
    meta.title = title;
    meta.app = app;
    meta.started = started.toUTC();
    meta.workspaceID = workspace;
    auto session = std::make_shared<Session>(dir, meta);
    session->save();
    return session;
}

std::shared_ptr<Session> Session::load(const QString& dir) {
    if (auto meta = JSONFile::read<SessionMeta>(dir + QStringLiteral("/meta.json")))
        return std::make_shared<Session>(dir, *meta);
    return nullptr;
}

QList<std::shared_ptr<Session>> Session::pending(const QString& base) {
    QStringList names = QDir(base).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    std::sort(names.begin(), names.end());
    QList<std::shared_ptr<Session>> out;
    for (const QString& name : std::as_const(names)) {
        auto session = load(base + QLatin1Char('/') + name);
        if (session && session->meta.ended) out.append(session);
    }
    return out;
}

void Session::save() {
    try {
        JSONFile::write(meta, url(QStringLiteral("meta.json")));
    } catch (const JSONFile::WriteError& e) {
        slog(QStringLiteral("save meta %1: %2").arg(QFileInfo(dir).fileName(), QString::fromUtf8(e.what())));
    }
}

std::optional<QString> Session::writeImage(const QString& folder, qsizetype index, const QByteArray& jpeg,
                                           const QString& logPrefix) {
    const QString name =
        folder + QLatin1Char('/') + QString::asprintf("%03lld.jpg", static_cast<long long>(index));
    QFile file(url(name));
    // A short image is written to the buffer in full: only the flush tells of a full disk.
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(jpeg) != jpeg.size() ||
        !file.flush()) {
        slog(logPrefix + file.errorString());
        return std::nullopt;
    }
    return name;
}

void Session::addShot(double t, const QByteArray& jpeg) {
    if (auto name =
            writeImage(QStringLiteral("shots"), meta.shots.size(), jpeg, QStringLiteral("shot write: ")))
        meta.shots.append({t, *name});
}

void Session::addPin(double t, const QString& note, const QByteArray& jpeg, bool isAuto, bool textOnly) {
    if (auto name = writeImage(QStringLiteral("pins"), meta.pins.size(), jpeg, QStringLiteral("pin write: ")))
        meta.pins.append({t, note, *name, isAuto ? std::optional<bool>(true) : std::nullopt,
                          textOnly ? std::optional<bool>(true) : std::nullopt});
}

std::optional<QString> Session::audioURL() const {
    if (!meta.audioFile) return std::nullopt;
    const QString path = url(*meta.audioFile);
    if (!QFileInfo::exists(path)) return std::nullopt;
    return path;
}
