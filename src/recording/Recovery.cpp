#include "recording/Recovery.h"

#include "core/Log.h"
#include "recording/AudioError.h"
#include "recording/Frames.h"
#include "recording/LevelReader.h"
#include "recording/Session.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <algorithm>
#include <cmath>

namespace Recovery {
namespace {

// The latest modification time of the files in the folder and its subfolders.
std::optional<QDateTime> lastWrite(const QString& dir) {
    std::optional<QDateTime> last;
    QDirIterator it(dir, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        const QDateTime modified = it.fileInfo().lastModified().toUTC();
        if (!last || modified > *last) last = modified;
    }
    return last;
}

bool readable(const QString& path) {
    if (!QFileInfo::exists(path)) return false;
    try {
        LevelReader::levels(path);
        return true;
    } catch (const AudioError&) {
        return false;
    }
}

// The recorder keeps a frame the moment it writes it, but names it in meta.json only at the next save, so the
// shots of the last minutes may be on disk alone. Each is timed by its file; one that can't be read stays
// out.
void listUnsavedShots(Session& session) {
    QList<ShotMeta>& shots = session.meta.shots;
    const QStringList names = QDir(session.url(QStringLiteral("shots")))
                                  .entryList({QStringLiteral("*.jpg")}, QDir::Files, QDir::Name);
    for (const QString& name : names) {
        const QString file = QStringLiteral("shots/") + name;
        if (std::any_of(shots.begin(), shots.end(), [&](const ShotMeta& shot) { return shot.file == file; }))
            continue;
        const QString path = session.url(file);
        if (!Frames::load(path)) {
            slog(QStringLiteral("recovery: unreadable shot ") + file);
            continue;
        }
        const qint64 ms = session.meta.started.msecsTo(QFileInfo(path).lastModified());
        shots.append({std::round(std::max(double(ms) / 1000, 0.0)), file});
    }
    std::stable_sort(shots.begin(), shots.end(),
                     [](const ShotMeta& a, const ShotMeta& b) { return a.t < b.t; });
}

} // namespace

QStringList recoverInterrupted(const QString& base) {
    QStringList recovered;
    const QStringList names = QDir(base).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString& name : names) {
        const auto session = Session::load(base + QLatin1Char('/') + name);
        if (!session || session->meta.ended) continue;
        SessionMeta& meta = session->meta;
        const QDateTime last = lastWrite(session->dir).value_or(meta.started);
        meta.ended = std::max(last, meta.started.addSecs(1));
        // An earlier track alone may be what is left: the tracks are not mixed here.
        for (const QString& track :
             {QStringLiteral("mixed.m4a"), QStringLiteral("system.m4a"), QStringLiteral("mic.m4a")}) {
            if (readable(session->url(track))) {
                meta.audioFile = track;
                break;
            }
        }
        listUnsavedShots(*session);
        meta.lastError = QStringLiteral("the session was interrupted");
        session->save();
        slog(QStringLiteral("recovered interrupted recording ") + name);
        recovered.append(name);
    }
    return recovered;
}

} // namespace Recovery
