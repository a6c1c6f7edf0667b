#include "surfaces/design/Motion.h"

#include <cmath>
#include <numbers>

namespace {

// The step response of a damped spring that starts at rest, over the time it takes to settle within 0.1 %.
struct Spring {
    double response, damping;

    double omega() const { return 2 * std::numbers::pi / response; }
    double settle() const { return std::log(1000.0) / (damping * omega()); }
    double at(double progress) const {
        if (progress >= 1) return 1;
        const double t = progress * settle(), w = omega(), wd = w * std::sqrt(1 - damping * damping);
        return 1 - std::exp(-damping * w * t) * (std::cos(wd * t) + damping * w / wd * std::sin(wd * t));
    }
    std::chrono::milliseconds duration() const {
        return std::chrono::milliseconds(std::lround(settle() * 1000));
    }
};

constexpr Spring springCurve{0.32, 0.82};
constexpr Spring quickCurve{0.22, 0.9};

// QEasingCurve takes a plain function, so each spring has one.
qreal springAt(qreal progress) {
    return springCurve.at(progress);
}
qreal quickAt(qreal progress) {
    return quickCurve.at(progress);
}

Transition transition(const Spring& spring, QEasingCurve::EasingFunction function) {
    QEasingCurve curve;
    curve.setCustomType(function);
    return {spring.duration(), curve};
}

} // namespace

Transition Motion::spring() const {
    using namespace std::chrono_literals;
    return m_reduced ? Transition{120ms, QEasingCurve(QEasingCurve::OutCubic)}
                     : transition(springCurve, springAt);
}

Transition Motion::quick() const {
    using namespace std::chrono_literals;
    return m_reduced ? Transition{100ms, QEasingCurve(QEasingCurve::OutCubic)}
                     : transition(quickCurve, quickAt);
}
