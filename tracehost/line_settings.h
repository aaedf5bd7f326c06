#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Korr::Plim::Trace::Tracehost {

/// What the plug-in's log tells of a line it set up. Its attributes tell six digits of clock and rate.
struct LineSettings {
    double traceClock = 0;   ///< Hz
    uint32_t baudRate = 0;   ///< asked of the port
    uint32_t prescaler = 0;  ///< of the TPIU
};

/// The last of them in a log's text; absent when there is none.
std::optional<LineSettings> LastLineSettings(const std::string& log);

}  // namespace Korr::Plim::Trace::Tracehost
