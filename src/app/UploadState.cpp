#include "app/UploadStatus.h"

namespace UploadState {

QString line(const State& state) {
    if (const auto* busy = std::get_if<Busy>(&state)) return QStringLiteral("Uploading: ") + busy->text;
    if (const auto* saved = std::get_if<Saved>(&state)) return QStringLiteral("Saved: ") + saved->title;
    if (const auto* failed = std::get_if<Failed>(&state))
        return QStringLiteral("Saved on this computer: %1 \u2014 %2").arg(failed->title, failed->message);
    return {};
}

} // namespace UploadState

void UploadStatus::set(UploadState::State state) {
    m_state = std::move(state);
    emit changed();
}
