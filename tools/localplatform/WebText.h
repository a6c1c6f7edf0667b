#pragma once

#include <string>
#include <string_view>

// Text made safe for the places it is put in: HTML and a URL's query.

// &, <, > and " as entities, for text and attribute values.
std::string htmlEscaped(std::string_view text);

// Percent-encoding that leaves alphanumerics, "-._~" and the characters of `alsoKept` as they are.
std::string percentEncoded(std::string_view text, std::string_view alsoKept = {});
