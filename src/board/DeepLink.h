#pragma once

#include <QString>
#include <QUrl>
#include <functional>
#include <optional>

// A link of the app's own scheme, orvane://, and the board page that shows it.
struct DeepLink {
    enum class Kind { project, card, session, board };

    Kind kind = Kind::board;
    QString slug; // project, card
    QString id;   // card, session

    bool operator==(const DeepLink&) const = default;

    static DeepLink project(QString slug) { return {Kind::project, std::move(slug), {}}; }
    static DeepLink card(QString slug, QString id) { return {Kind::card, std::move(slug), std::move(id)}; }
    static DeepLink session(QString id) { return {Kind::session, {}, std::move(id)}; }
    static DeepLink board() { return {}; }

    // orvane://board, orvane:board, orvane://p/<slug>[/board], orvane://p/<slug>/card/<id>,
    // orvane://session/<id> and orvane://r/<id>; keywords in any case, anything else none.
    static std::optional<DeepLink> parse(const QUrl& url);

    using Known = std::function<std::optional<QUrl>(const QString& id)>;
    // The page on the platform at `base`; a recording goes where `known` says when it knows.
    std::optional<QUrl> webURL(const QString& base, const Known& known = {}) const;
    // The link back from a board page: the board home and recording pages have one.
    static std::optional<QUrl> from(const QUrl& web, const QString& base);
};
