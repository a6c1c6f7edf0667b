// Every test keeps its files apart from the user's: CTest names the support folder of each test, and this
// takes it before anything asks where files go, as the program's main does with its own environment.
#include "core/Paths.h"

namespace {
const bool configured = [] {
    Paths::useSupport(qEnvironmentVariable("ORVANE_SUPPORT_DIR"));
    return true;
}();
} // namespace
