#pragma once

#include <cstdint>

/// \file
/// The host's target states. Two codes each stand for no connection, for a target that runs and for one that
/// is halted; what tells the two apart is the host's. All other codes say nothing to the receiver.

namespace Korr::Plim::Trace {

/// The one of the two running states in which a recording cannot be stopped.
inline constexpr uint32_t kTargetRunning = 6;

/// The host has no connection to the target.
constexpr bool IsTargetDisconnected(uint32_t state) { return state == 3 || state == 4; }
/// The target runs.
constexpr bool IsTargetStarted(uint32_t state) { return state == 5 || state == kTargetRunning; }
/// The target is halted.
constexpr bool IsTargetHalted(uint32_t state) { return state == 7 || state == 8; }

}  // namespace Korr::Plim::Trace
