#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>
#include <functional>
#include <optional>
#include <qwindowdefs.h>

class QScreen;

// The two steps of a pin made by hand: a region of the screen, then a note for it.
namespace PinCapture {
using Completion = std::function<void(std::optional<QByteArray>)>;

constexpr double jpegQuality = 0.7;
constexpr int jpegMaxWidth = 1800;

// Lets the user drag out a region; the completion gets its JPEG on the main thread, or nothing on cancel.
// `freeze` gives the picture a screen is frozen as (Orvane's own windows left out); Qt's grab without it.
void selectRegion(Completion completion, const std::function<QImage(QScreen&)>& freeze = {});
using NoteAnswer = std::function<void(std::optional<QString>)>;
// Asks for the note in a modal dialog, brought to the front by `activate`, without waiting for it: `answer`
// gets the trimmed note (maybe empty) on "Pin", nothing on "Cancel" or when the dialog is closed.
void askNote(const QImage& image, bool recording, std::function<void(WId)> activate, NoteAnswer answer);
} // namespace PinCapture
