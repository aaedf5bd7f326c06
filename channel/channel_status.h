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

/// Sets code, text and flags of a cleared record; an unknown state changes nothing.
void DescribeState(uint32_t state, StatusRecord& record);

}  // namespace Korr::Plim::Trace::Tarnel
