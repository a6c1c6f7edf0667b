#include "voice/PinCapture.h"

#include "recording/Frames.h"
#include "voice/NoteDialog.h"
#include "voice/RegionPicker.h"

namespace PinCapture {

void selectRegion(Completion completion, const std::function<QImage(QScreen&)>& freeze) {
    RegionPicker::start(
        [completion = std::move(completion)](std::optional<QImage> region) {
            completion(region ? Frames::jpeg(*region, jpegQuality, jpegMaxWidth) : std::nullopt);
        },
        freeze);
}

std::optional<QString> askNote(const QImage& image, bool recording, QWidget* parent) {
    NoteDialog dialog(image, recording, parent);
    if (dialog.exec() != QDialog::Accepted) return std::nullopt;
    return dialog.note();
}

} // namespace PinCapture
