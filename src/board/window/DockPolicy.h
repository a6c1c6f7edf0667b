#pragma once

#include <optional>

// Whether the app shows in the task switcher: while the board window is open it does, as a regular app;
// otherwise it lives in the tray only. On Linux the board window's own taskbar entry is all there is to it,
// so the policy is only decided and logged.
namespace DockPolicy {
enum class Policy { regular, accessory };

Policy wanted(bool boardOpen);
// The policy to switch to, or none when `current` is already right.
std::optional<Policy> change(Policy current, bool boardOpen);
} // namespace DockPolicy
