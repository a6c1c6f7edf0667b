#pragma once

#include "os/CapturePermission.h"

#include <QList>
#include <QObject>
#include <QTimer>

// The screen and microphone answers a test sets. `requestMic` answers `requestGrants` later on the event
// loop, as the desktop would, and the status follows the answer.
class FakeCapturePermission final : public os::CapturePermission {
public:
    bool screenPreflight() override { return screen; }
    void requestScreen() override { ++screenRequests; }
    Mic micStatus() override { return mic; }
    void requestMic(std::function<void(bool granted)> granted) override {
        ++micRequests;
        QTimer::singleShot(0, &alive, [this, granted = std::move(granted), answer = requestGrants] {
            mic = answer ? Mic::allowed : Mic::denied;
            granted(answer);
        });
    }
    bool canOpenSettings(Pane pane) const override { return settingsFor.contains(pane); }
    void openSettings(Pane pane) override { opened.append(pane); }

    bool screen = true;
    Mic mic = Mic::allowed;
    bool requestGrants = true;
    QList<Pane> settingsFor{Pane::screen, Pane::microphone};

    int screenRequests = 0;
    int micRequests = 0;
    QList<Pane> opened; // every pane `openSettings` was asked for, in order

private:
    QObject alive; // an answer still queued when the fake goes is dropped with it
};
