#pragma once

#include "app/UploadState.h"

#include <QObject>

// The application's one upload state, which the menu shows. The flows that route and send sessions set it;
// the menu redraws on `changed`.
class UploadStatus : public QObject {
    Q_OBJECT
public:
    const UploadState::State& state() const { return m_state; }
    void set(UploadState::State state);

signals:
    void changed();

private:
    UploadState::State m_state = UploadState::Idle{};
};
