#pragma once

#include <QString>
#include <optional>

// Who the account is, from GET /api/v1/me.
struct AccountInfo {
    QString email;
    std::optional<QString> name;
    std::optional<QString> personalRoot;

    bool operator==(const AccountInfo&) const = default;
};
