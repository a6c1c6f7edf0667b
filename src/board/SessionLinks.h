#pragma once

#include <QString>
#include <QUrl>
#include <optional>

class Settings;

// The exact web page the server named for each recording, so a later link to it opens that page. Kept in the
// settings store, newest last, at most `limit` recordings.
class SessionLinks {
public:
    static constexpr int limit = 200;
    static inline const QString key = QStringLiteral("board.sessionLinks");

    explicit SessionLinks(Settings& settings) : m_settings(settings) {}

    void remember(const QString& id, const std::optional<QUrl>& url);
    // The remembered page; else, for the last filed recording, its Library page.
    std::optional<QUrl> link(const QString& id) const;

private:
    Settings& m_settings;
};
