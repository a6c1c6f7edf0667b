#include "app/WrapSamples.h"

namespace WrapSamples {

WrapStatus day() {
    WrapStatus done;
    done.status = QStringLiteral("done");
    done.summary = QStringLiteral(
        "A focused day on the launch plan: the pricing page went to review, the printer call settled the "
        "delivery date, and the weekly sync moved the beta to the 14th. Most of the afternoon went to the "
        "rollout checklist in Figma and the editor.");
    done.highlights = {QStringLiteral("Pricing page sent to review with the annual plan first"),
                       QStringLiteral("Beta date agreed: the 14th"),
                       QStringLiteral("3 h 40 min of focused work, 2 calls")};
    done.tomorrow = {QStringLiteral("Finish the rollout checklist"),
                     QStringLiteral("Ask who owns the rollout")};
    done.cards = {{QStringLiteral("c1"), QStringLiteral("Send the printer the final artwork")},
                  {QStringLiteral("c2"), QStringLiteral("Book the beta announcement slot")}};
    return done;
}

} // namespace WrapSamples
