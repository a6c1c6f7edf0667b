#include "board/window/DockPolicy.h"

namespace DockPolicy {

Policy wanted(bool boardOpen) {
    return boardOpen ? Policy::regular : Policy::accessory;
}

std::optional<Policy> change(Policy current, bool boardOpen) {
    const Policy want = wanted(boardOpen);
    if (want == current) return std::nullopt;
    return want;
}

} // namespace DockPolicy
