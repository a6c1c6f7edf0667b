#pragma once

#include "core/Json.h"

// A stretch of the recording timeline, in seconds.
struct Span {
    double t = 0;
    double end = 0;

    bool operator==(const Span&) const = default;

    QJsonValue toJson() const { return QJsonObject{{"t", t}, {"end", end}}; }
    static Span fromJson(const QJsonValue& v) {
        const QJsonObject o = Json::object(v);
        return {Json::get<double>(o, "t"), Json::get<double>(o, "end")};
    }
};
