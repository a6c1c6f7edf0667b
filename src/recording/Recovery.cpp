#include "recording/Recovery.h"

#include "core/Log.h"
#include "recording/AudioError.h"
#include "recording/LevelReader.h"
#include "recording/Session.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>

namespace Recovery {
namespace {

// The latest modification time of the files in the folder and its subfolders.
std::optional<QDateTime> lastWrite(const QString& dir) {
    std::optional<QDateTime> last;
    QDirIterator it(dir, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        const QDateTime modified = it.fileInfo().lastModified().toUTC();
        if (!last || modified > *last)
            last = modified;
    }
    return last;
}

bool readable(const QString& path) {
    if (!QFileInfo::exists(path))
        return false;
    try {
        LevelReader::levels(path);
        return true;
    } catch (const AudioError&) {
        return false;
    }
}

} // namespace

QStringList recoverInterrupted(const QString& base) {
    QStringList recovered;
    const QStringList names = QDir(base).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString& name : names) {
        const auto session = Session::load(base + QLatin1Char('/') + name);
        if (!session || session->meta.ended)
            continue;
        SessionMeta& meta = session->meta;
        const QDateTime last = lastWrite(session->dir).value_or(meta.started);
        meta.ended = std::max(last, meta.started.addSecs(1));
        // An earlier track alone may be what is left: the tracks are not mixed here.
        for (const QString& track : {QStringLiteral("mixed.m4a"), QStringLiteral("system.m4a"), QStringLiteral("mic.m4a")}) {
            if (readable(session->url(track))) {
                meta.audioFile = track;
                break;
            }
        }
        meta.lastError = QStringLiteral("the session was interrupted");
        session->save();
        slog(QStringLiteral("recovered interrupted recording ") + name);
        recovered.append(name);
    }
    return recovered;
}

} // namespace Recovery
