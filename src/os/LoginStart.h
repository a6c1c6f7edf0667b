#pragma once

#include <QString>
#include <optional>

namespace os {

// Whether Orvane starts with the user's desktop session.
class LoginStart {
public:
    virtual ~LoginStart() = default;
    virtual bool enabled() const = 0;
    // Nothing when done, else why not, in words for the user.
    virtual std::optional<QString> setEnabled(bool on) = 0;
};

} // namespace os
