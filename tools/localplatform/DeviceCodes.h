#pragma once

#include <cstdint>
#include <string>

// The codes of the n-th device sign-in. Derived from n alone, so that every run hands out the same ones.
namespace DeviceCodes {

// "WXYZ-1234": four consonants mixed from n, then n itself in four digits, so codes never repeat below 10000.
std::string userCode(std::int64_t n);
// The secret the client polls with.
std::string deviceCode(std::int64_t n);
// The account key that an approval issues.
std::string accountKey(std::int64_t n);

} // namespace DeviceCodes
