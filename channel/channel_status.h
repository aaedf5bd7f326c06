#pragma once

#include <cstdint>

#include "host_api/CChannelDriver.h"

namespace Korr::Plim::Trace::Tarnel {

/// Recording state of a channel driver. No operation enters kCalibrating and kStoppedByError; their status is
/// kept all the same.
enum DriverState : uint32_t {
    kCreated = 0,
    kCalibrating = 1,
    kConfigured = 2,
    kRecording = 3,
    kStoppedByError = 4,
    kStoppedByUser = 5,
};

/// Target states of the host that the driver tells apart.
inline constexpr uint32_t kTargetDisconnectedA = 3;
inline constexpr uint32_t kTargetDisconnectedB = 4;
inline constexpr uint32_t kTargetRunning = 6;

/// Whether there is a target connection in this target state.
inline bool IsConnected(uint32_t targetState) {
    return targetState != kTargetDisconnectedA && targetState != kTargetDisconnectedB;
}

/// Sets code, text and flags of a cleared record; an unknown state changes nothing.
void DescribeState(uint32_t state, StatusRecord& record);

}  // namespace Korr::Plim::Trace::Tarnel
