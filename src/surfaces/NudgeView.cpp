#include "surfaces/NudgeView.h"

#include <QHash>

std::optional<NudgeTag> NudgeView::tagFor(const QString& kind) {
    static const QHash<QString, NudgeTag> tags = [] {
        const NudgeTag call{QStringLiteral("Call"), Tone::accent},
            callEnded{QStringLiteral("Call ended"), Tone::amber},
            active{QStringLiteral("Orvane active"), Tone::red},
            stopped{QStringLiteral("Session stopped"), Tone::red},
            saved{QStringLiteral("Session saved"), Tone::silver},
            route{QStringLiteral("Session saved"), Tone::accent}, card{QStringLiteral("Card"), Tone::accent},
            move{QStringLiteral("Move"), Tone::silver}, filed{QStringLiteral("Filed"), Tone::silver},
            tip{QStringLiteral("Live tip"), Tone::amber},
            review{QStringLiteral("Review ready"), Tone::accent},
            upload{QStringLiteral("Saved on this computer"), Tone::amber},
            personal{QStringLiteral("Personal"), Tone::silver}, coach{QStringLiteral("Coach"), Tone::silver},
            voice{QStringLiteral("Voice"), Tone::accent}, done{QStringLiteral("Done"), Tone::accent};
        return QHash<QString, NudgeTag>{{QStringLiteral("call"), call},
                                        {QStringLiteral("callEnded"), callEnded},
                                        {QStringLiteral("recording"), active},
                                        {QStringLiteral("stopped"), stopped},
                                        {QStringLiteral("streamError"), stopped},
                                        {QStringLiteral("saved"), saved},
                                        {QStringLiteral("route"), route},
                                        {QStringLiteral("card"), card},
                                        {QStringLiteral("move"), move},
                                        {QStringLiteral("filed"), filed},
                                        {QStringLiteral("tip"), tip},
                                        {QStringLiteral("review"), review},
                                        {QStringLiteral("upload"), upload},
                                        {QStringLiteral("personalSoon"), personal},
                                        {QStringLiteral("break"), coach},
                                        {QStringLiteral("workout"), coach},
                                        {QStringLiteral("wrap"), coach},
                                        {QStringLiteral("preview"), coach},
                                        {QStringLiteral("voice"), voice},
                                        {QStringLiteral("voiceCard"), voice},
                                        {QStringLiteral("cardDone"), done},
                                        {QStringLiteral("tipDone"), done}};
    }();
    const auto found = tags.constFind(kind);
    if (found == tags.constEnd()) return std::nullopt;
    return *found;
}
