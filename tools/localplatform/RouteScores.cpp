#include "RouteScores.h"

#include <QRegularExpression>
#include <algorithm>
#include <cmath>

namespace {

constexpr double perParticipant = 0.2;
constexpr double participantsBase = 0.5;
constexpr double participantsMax = 0.9;
constexpr double inTitle = 0.3;
constexpr double perScreenMention = 0.2;
constexpr double screenMax = 0.8;

// How often `word` stands in `text` as a whole word, whatever its case.
qsizetype mentions(const QString& text, const QString& word) {
    const QRegularExpression pattern(QStringLiteral("\\b%1\\b").arg(QRegularExpression::escape(word)),
                                     QRegularExpression::CaseInsensitiveOption |
                                         QRegularExpression::UseUnicodePropertiesOption);
    qsizetype count = 0;
    for (auto match = pattern.globalMatch(text); match.hasNext(); match.next())
        ++count;
    return count;
}

bool among(const QStringList& participants, const QString& name) {
    return std::any_of(participants.begin(), participants.end(),
                       [&](const QString& participant) { return mentions(participant, name) > 0; });
}

} // namespace

RouteScore scoreRoute(const Store::Project& project, const RouteQuery& query) {
    RouteScore result;
    double score = 0;

    QStringList present;
    QStringList titled;
    for (const std::string& member : project.members) {
        const QString name = QString::fromStdString(member);
        if (among(query.participants, name))
            present << name;
        else if (mentions(query.title, name) > 0)
            titled << name;
    }
    const QString projectName = QString::fromStdString(project.name);
    if (mentions(query.title, projectName) > 0) titled.prepend(projectName);

    if (!present.isEmpty()) {
        score += std::min(participantsMax, participantsBase + perParticipant * double(present.size()));
        result.reasons.push_back(("with " + present.join(QStringLiteral(", "))).toStdString());
    }
    if (!titled.isEmpty()) {
        score += inTitle;
        result.reasons.push_back((titled.join(QStringLiteral(", ")) + " in the title").toStdString());
    }
    if (const qsizetype seen = mentions(query.text, projectName); seen > 0) {
        score += std::min(screenMax, perScreenMention * double(seen));
        result.reasons.push_back(
            QStringLiteral("\"%1\" on screen %2\u00d7").arg(projectName).arg(seen).toStdString());
    }
    result.score = std::round(std::min(score, 1.0) * 100) / 100;
    return result;
}
