#include "core/FiledRef.h"

#include <QTimeZone>
#include <cmath>

namespace {
const QDateTime& referenceDate() {
    static const QDateTime date(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC);
    return date;
}
} // namespace

QJsonValue FiledRef::toJson() const {
    return QJsonObject{
        {"id", id}, {"title", title}, {"dest", dest}, {"at", double(referenceDate().msecsTo(at)) / 1000.0}};
}

FiledRef FiledRef::fromJson(const QJsonValue& v) {
    const QJsonObject o = Json::object(v);
    const double seconds = Json::get<double>(o, "at");
    return {Json::get<QString>(o, "id"), Json::get<QString>(o, "title"), Json::get<QString>(o, "dest"),
            referenceDate().addMSecs(qint64(std::llround(seconds * 1000.0)))};
}
