#pragma once

#include <cstdint>
#include <string>

#include "tests/second_reading/line_model.h"

namespace second_reading {

/// What a collector is made with.
struct CollectorSettings {
    uint32_t portNumber = 5;
    double traceClock = 48e6;
    bool automatic = false;
    uint32_t prescaler = 0;
    std::string fileName;
    bool sendBreakOnStop = false;
};

/// A second reading of a collector's life: construction, Run until something stops it, destruction. Made from
/// what UARTDataCollector promises and not from its code.
Seen ModelCollector(const CollectorSettings& settings, const World& world);

}  // namespace second_reading
