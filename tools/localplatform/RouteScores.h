#pragma once

#include "Store.h"

#include <QString>
#include <QStringList>
#include <string>
#include <vector>

// What a recording says about itself when it asks where it belongs.
struct RouteQuery {
    QString title;
    QStringList participants;
    QString text; // the apps, pins and screen text of the recording
};

struct RouteScore {
    double score = 0; // 0 to 1, in hundredths
    std::vector<std::string> reasons;
};

// How well a recording fits a project, from the people and words it mentions; the same query always gives the
// same answer. Team members among the participants weigh most ("with Ivo, Tess"), then the project or a
// member named in the title ("Ivo in the title"), then the project's name on screen, which is no team signal.
RouteScore scoreRoute(const Store::Project& project, const RouteQuery& query);
