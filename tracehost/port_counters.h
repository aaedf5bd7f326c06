#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Korr::Plim::Trace::Tracehost {

/// What a port's driver has counted since it was loaded or the device was plugged in.
struct PortCounters {
    uint64_t overrun = 0;        ///< bytes lost because the port's hardware was not emptied in time
    uint64_t bufferOverrun = 0;  ///< bytes lost because the driver's buffer was full
    uint64_t framing = 0;        ///< bytes without a stop bit
    uint64_t parity = 0;
    uint64_t breaks = 0;
    bool operator==(const PortCounters&) const = default;
};

/// A look at a port that somebody else has open.
struct PortGlance {
    std::optional<PortCounters> counters;
    std::string note;              ///< why there are no counters; empty when there are
    std::optional<uint32_t> baud;  ///< the rate that the port reports
};

inline constexpr const char* kCountersNotTold = "not told by this port";

/// Seam: looks at COM port `number` beside whoever has it open, changing nothing of it. On Linux it is looked
/// at through the handle with which this process (the plug-in) has it open, else it is opened for the look,
/// which another owner may refuse; on Windows a port has one owner, and nothing is told.
PortGlance LookAtPort(uint32_t number);

}  // namespace Korr::Plim::Trace::Tracehost
