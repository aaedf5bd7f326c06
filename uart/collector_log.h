#pragma once

#include <cstdint>

#include "source_utilities/log_call.h"

namespace Korr::Plim::Trace::Tarnel {

/// First argument of every log line of the collector and of its calibration.
inline constexpr const char* kCollectorTag = "Tarnel_UARTCollector";

/// The lines print unsigned numbers with "%d".
inline int32_t Printed(uint32_t number) { return static_cast<int32_t>(number); }

}  // namespace Korr::Plim::Trace::Tarnel
