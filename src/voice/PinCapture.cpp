#include "voice/PinCapture.h"

#include "recording/Frames.h"
#include "surfaces/ActivateWhenShown.h"
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

void askNote(const QImage& image, bool recording, std::function<void(WId)> activate, NoteAnswer answer) {
    auto* dialog = new NoteDialog(image, recording);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    activateWhenShown(*dialog, std::move(activate));
    QObject::connect(dialog, &QDialog::finished, dialog, [dialog, answer = std::move(answer)](int result) {
        answer(result == QDialog::Accepted ? std::optional(dialog->note()) : std::nullopt);
    });
    dialog->open();
}

} // namespace PinCapture
