#include "DeviceCodes.h"

#include <array>
#include <cstdio>

namespace {

// A multiplicative hash, so that neighbouring numbers give unrelated letters.
std::uint64_t mix(std::int64_t n, std::uint64_t salt) {
    std::uint64_t x = std::uint64_t(n) * 0x9E3779B97F4A7C15ull ^ salt;
    x ^= x >> 29;
    x *= 0xBF58476D1CE4E5B9ull;
    return x ^ (x >> 32);
}

std::string hex(std::uint64_t value) {
    std::array<char, 17> text{};
    std::snprintf(text.data(), text.size(), "%016llx", static_cast<unsigned long long>(value));
    return text.data();
}

} // namespace

namespace DeviceCodes {

std::string userCode(std::int64_t n) {
    static constexpr std::string_view consonants = "BCDFGHJKLMNPQRSTVWXZ";
    std::uint64_t x = mix(n, 0x5555);
    std::string code;
    for (int i = 0; i < 4; ++i, x /= consonants.size())
        code += consonants[x % consonants.size()];
    const std::string digits = std::to_string(std::uint64_t(n) % 10000);
    return code + "-" + std::string(4 - digits.size(), '0') + digits;
}

std::string deviceCode(std::int64_t n) {
    return "dc-" + std::to_string(n) + "-" + hex(mix(n, 0xD0D0));
}

std::string accountKey(std::int64_t n) {
    return "dk-" + std::to_string(n) + "-" + hex(mix(n, 0x4B4B));
}

} // namespace DeviceCodes
