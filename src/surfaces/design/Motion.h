#pragma once

#include <QEasingCurve>
#include <chrono>

// How a change moves on screen: a duration and the curve it follows.
struct Transition {
    std::chrono::milliseconds duration;
    QEasingCurve curve;
};

// The interface's two movements. A spring is given by its response (the period of the undamped swing, in
// seconds) and its damping ratio; under reduced motion each becomes a short ease-out.
class Motion {
public:
    // Reduced when the desktop has turned animations off; the composition root reads that setting.
    explicit Motion(bool reduced) : m_reduced(reduced) {}

    bool reduced() const { return m_reduced; }
    Transition spring() const; // response 0.32, damping 0.82; reduced: ease-out 0.12 s
    Transition quick() const;  // response 0.22, damping 0.9; reduced: ease-out 0.1 s

private:
    bool m_reduced;
};
