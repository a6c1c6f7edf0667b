#pragma once

#include <QTest>

namespace testsupport {

// One data row, its values in the order of the columns: row("a sentence that names the case", a, b, c).
template <typename... Values> void row(const char* name, const Values&... values) {
    (QTest::newRow(name) << ... << values);
}

} // namespace testsupport
