#include "PathPattern.h"

namespace {

std::vector<std::string_view> split(std::string_view path) {
    std::vector<std::string_view> segments;
    while (!path.empty()) {
        if (path.front() == '/') path.remove_prefix(1);
        const std::size_t end = path.find('/');
        segments.push_back(path.substr(0, end));
        path.remove_prefix(end == std::string_view::npos ? path.size() : end);
    }
    return segments;
}

bool isCapture(std::string_view segment) {
    return segment.size() > 2 && segment.front() == '{' && segment.back() == '}';
}

} // namespace

PathPattern::PathPattern(std::string_view pattern) {
    for (std::string_view segment : split(pattern))
        m_segments.emplace_back(segment);
}

std::optional<PathPattern::PrefixMatch> PathPattern::matchPrefix(std::string_view path) const {
    const std::vector<std::string_view> segments = split(path);
    if (segments.size() < m_segments.size()) return std::nullopt;
    PrefixMatch result;
    std::size_t consumed = 0;
    for (std::size_t i = 0; i < m_segments.size(); ++i) {
        const std::string& expected = m_segments[i];
        if (isCapture(expected)) {
            if (segments[i].empty()) return std::nullopt;
            result.params.emplace(expected.substr(1, expected.size() - 2), segments[i]);
        } else if (segments[i] != expected) {
            return std::nullopt;
        }
        consumed = std::size_t(segments[i].data() + segments[i].size() - path.data());
    }
    result.rest = std::string(path.substr(consumed));
    return result;
}

std::optional<PathParams> PathPattern::match(std::string_view path) const {
    std::optional<PrefixMatch> prefix = matchPrefix(path);
    if (!prefix || !(prefix->rest.empty() || prefix->rest == "/")) return std::nullopt;
    return std::move(prefix->params);
}
