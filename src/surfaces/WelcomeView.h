#pragma once

#include "surfaces/WindowView.h"

#include <functional>

// The first run's window: what Orvane records, that it stays on this computer until the user (or the visible
// two-minute default) says where it goes, how to sign in, and the three keys.
class WelcomeView : public WindowView {
    Q_OBJECT
public:
    static inline const QString windowKey = QStringLiteral("welcome");
    static inline const QString title = QStringLiteral("Welcome to Orvane");

    struct Needs {
        bool signedIn = false;
        std::function<void()> signIn; // opens the settings at the sign-in
    };
    explicit WelcomeView(Needs needs, QWidget* parent = nullptr);
};
