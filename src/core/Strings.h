#pragma once

#include <QString>

// `text` cut to `limit` characters, the last of them "…"; shorter texts as they stand. Characters as the
// reader counts them: an emoji or an accented letter is one, however it is encoded.
QString shortened(const QString& text, int limit);
// The host of an address, or the address as it stands when it has none: "orvane.app" for
// "https://orvane.app".
QString hostOf(const QString& address);
// Without leading and trailing white space and newlines.
QString trimmed(const QString& text);
// Percent-encodes (UTF-8) every character that is not a letter, mark, digit or one of "-._~": "rec:1" ->
// "rec%3A1".
QString urlComponent(const QString& text);
// Rounded to one decimal, half away from zero.
double round1(double value);
