#pragma once

#include <QFile>
#include <QRegularExpression>
#include <QString>
#include <QTest>
#include <optional>

namespace testsupport {

// The program's own log (orvane.log in its support folder), as a test that runs the program reads it.
class SupportLog {
public:
    explicit SupportLog(QString path) : m_path(std::move(path)) {}

    QString text() const {
        QFile file(m_path);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
    // The first match of `pattern`, once the log has one.
    std::optional<QRegularExpressionMatch> waitFor(const QString& pattern, int ms = 20000) const {
        const QRegularExpression re(pattern);
        QRegularExpressionMatch match;
        if (!QTest::qWaitFor([&] { return (match = re.match(text())).hasMatch(); }, ms)) return std::nullopt;
        return match;
    }

private:
    QString m_path;
};

} // namespace testsupport
