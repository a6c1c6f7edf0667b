#pragma once

#include "support/Slides.h"

#include <QStringList>
#include <vector>

// Six slides of a talk, each with its own title, so that every change is a new slide to the recorder: shown
// by bench_slideshow, read by bench_frames.
inline std::vector<std::vector<Slides::Line>> talk() {
    const auto slide = [](const QString& title, const QStringList& points) {
        std::vector<Slides::Line> lines{{title, 56}};
        for (const QString& point : points)
            lines.push_back({QStringLiteral("• ") + point, 32});
        return lines;
    };
    return {
        slide(QStringLiteral("Quarterly operations review"),
              {QStringLiteral("Support volume fell by a fifth"),
               QStringLiteral("Billing migration finished late"),
               QStringLiteral("Two offers out for the data team")}),
        slide(QStringLiteral("Customer requests"),
              {QStringLiteral("Single sign-on before renewal"), QStringLiteral("Exports in spreadsheet form"),
               QStringLiteral("Audit log kept for a year")}),
        slide(QStringLiteral("Search latency"),
              {QStringLiteral("Median 140 ms, 95th percentile 410 ms"),
               QStringLiteral("Index rebuilt nightly"), QStringLiteral("Cache hit rate up to 72 percent")}),
        slide(QStringLiteral("Hiring plan"),
              {QStringLiteral("Four engineers by March"), QStringLiteral("One designer for the mobile app"),
               QStringLiteral("Interview loop cut to three rounds")}),
        slide(QStringLiteral("Budget for next year"),
              {QStringLiteral("Hosting costs flat despite growth"), QStringLiteral("Travel halved"),
               QStringLiteral("Training doubled for new managers")}),
        slide(QStringLiteral("Open questions"),
              {QStringLiteral("Who owns the on-call rota?"), QStringLiteral("When does the old API retire?"),
               QStringLiteral("Which regions launch first?")}),
    };
}
