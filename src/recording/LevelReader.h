#pragma once

#include <QList>
#include <QString>

// Measures the levels of an audio file on disk, as `LevelMeter` did while it was written: for a track whose
// writer did not survive, and to tell whether such a track is readable at all.
namespace LevelReader {
// RMS values of 0.25 s windows of the file's audio mixed to mono, at the file's own sample rate.
// Throws AudioError when the file can't be opened or holds no decodable audio. A file cut short gives the
// levels of what is there.
QList<float> levels(const QString& path);
} // namespace LevelReader
