#pragma once

#include <QList>
#include <QString>

// Puts the tracks of a recording together, each at its place on the timeline, into one AAC file.
namespace Mixer {
struct Input {
    QString path;
    // Timeline position of the track's first sample, in seconds.
    double offset = 0;
};

// Decodes every input, places it at its offset on a 48 kHz timeline, sums them and encodes one mono AAC
// `.m4a` at `to`, replacing any file there. The output lasts as long as the latest track end. An input that
// can't be read or holds no audio is skipped, and logged. Throws AudioError: "nothing to mix" when no input
// is left (no file is made), "export failed: …" when the output can't be written (no file is left).
// It takes as long as the decoding and encoding do: run it away from the main thread.
void mix(const QList<Input>& inputs, const QString& to);

// The length of a media file in seconds; 0 when it can't be read.
double duration(const QString& path);
} // namespace Mixer
