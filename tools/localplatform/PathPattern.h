#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

using PathParams = std::map<std::string, std::string, std::less<>>;

// A path of fixed segments and "{name}" segments, each of which takes one segment of the request's path.
class PathPattern {
public:
    explicit PathPattern(std::string_view pattern);

    std::optional<PathParams> match(std::string_view path) const;

    struct PrefixMatch {
        PathParams params;
        std::string rest; // empty, or the remaining path from its "/"
    };
    // The pattern as the leading segments of the path.
    std::optional<PrefixMatch> matchPrefix(std::string_view path) const;

private:
    std::vector<std::string> m_segments;
};
