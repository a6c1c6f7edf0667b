#pragma once

#include "core/Json.h"
#include "core/Paths.h"
#include "core/Span.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QUuid>
#include <memory>
#include <optional>

// One kept screenshot.
struct ShotMeta {
    double t = 0;
    QString file;

    bool operator==(const ShotMeta&) const = default;
    QJsonValue toJson() const;
    static ShotMeta fromJson(const QJsonValue& v);
};

// One pin; `auto` and `textOnly` are stored only when true.
struct PinMeta {
    double t = 0;
    QString note;
    QString file;
    std::optional<bool> isAuto;
    std::optional<bool> textOnly;

    bool operator==(const PinMeta&) const = default;
    QJsonValue toJson() const;
    static PinMeta fromJson(const QJsonValue& v);
};

// One sample of on-screen text.
struct OcrEntry {
    double t = 0;
    QString app;
    QString text;

    bool operator==(const OcrEntry&) const = default;
    QJsonValue toJson() const;
    static OcrEntry fromJson(const QJsonValue& v);
};

// One stretch in which one app was frontmost.
struct AppSpan {
    double t = 0;
    double end = 0;
    QString app;
    std::optional<QString> title;

    bool operator==(const AppSpan&) const = default;
    QJsonValue toJson() const;
    static AppSpan fromJson(const QJsonValue& v);

    // Notes that `app` (with `title`) is in front at `t`: the last span grows when it is the same app and
    // title seen within `gap` seconds; otherwise the last span ends at `t` and a new one begins.
    static void merge(QList<AppSpan>& spans, double t, const QString& app,
                      const std::optional<QString>& title, double gap = 6);
};

// The stored routing decision.
struct Routed {
    double score = 0;
    QList<QString> reasons;
    bool isAuto = false;

    bool operator==(const Routed&) const = default;
    QJsonValue toJson() const;
    static Routed fromJson(const QJsonValue& v);
};

// meta.json: the whole truth about one recording.
struct SessionMeta {
    QString title;
    QString app;
    QDateTime started;
    std::optional<QDateTime> ended;
    QList<QString> participants;
    std::optional<QUuid> workspaceID;
    bool micOk = false;
    QList<ShotMeta> shots;
    QList<PinMeta> pins;
    QList<Span> levelsMic;
    QList<Span> levelsTab;
    std::optional<QString> audioFile;
    bool fromCall = false;
    std::optional<QString> kind;
    std::optional<QString> callApp;
    std::optional<QList<OcrEntry>> ocr;
    std::optional<QList<AppSpan>> apps;
    std::optional<Routed> routed;
    std::optional<bool> routeDone;
    std::optional<bool> personal;
    std::optional<bool> waitingPersonal;
    std::optional<QString> callId;
    bool audioUploaded = false;
    bool processed = false;
    std::optional<QString> lastError;
    std::optional<QString> uploadedServer;

    // The kind when set, else "call" for a call picked up or with a call app, else "session".
    QString effectiveKind() const;
    bool isCall() const { return effectiveKind() == QLatin1String("call"); }

    bool operator==(const SessionMeta&) const = default;
    QJsonValue toJson() const;
    static SessionMeta fromJson(const QJsonValue& v);
};

// One recording as one folder on disk. Shared by reference between the controller and the recorder.
class Session {
public:
    Session(QString dir, SessionMeta meta) : dir(std::move(dir)), meta(std::move(meta)) {}

    // Makes the folder (named by the start, with -2, -3 ... when taken), its shots/ and pins/, and saves.
    static std::shared_ptr<Session> create(const QString& title, const QString& app,
                                           const std::optional<QUuid>& workspace,
                                           const QDateTime& started = QDateTime::currentDateTimeUtc(),
                                           const QString& base = Paths::recordings());
    static std::shared_ptr<Session> load(const QString& dir);
    // Finished sessions still on disk, oldest first.
    static QList<std::shared_ptr<Session>> pending(const QString& base = Paths::recordings());

    QString url(const QString& name) const { return dir + QLatin1Char('/') + name; }
    // Writes meta.json atomically; a failure is logged.
    void save();
    void addShot(double t, const QByteArray& jpeg);
    void addPin(double t, const QString& note, const QByteArray& jpeg, bool isAuto = false,
                bool textOnly = false);
    // The audio file when it is named and exists now.
    std::optional<QString> audioURL() const;

    const QString dir;
    SessionMeta meta;

private:
    // Writes the image under folder/NNN.jpg; the name on success.
    std::optional<QString> writeImage(const QString& folder, qsizetype index, const QByteArray& jpeg,
                                      const QString& logPrefix);
};
