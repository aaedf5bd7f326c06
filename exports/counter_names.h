#pragma once

#include <array>

namespace Korr::Plim::Trace::Exports {

/// The DWT's event counters, by their bits in a packet.
inline constexpr std::array<const char*, 6> kEventCounters = {"cpi", "exc", "sleep", "lsu", "fold", "cyc"};
inline constexpr int kPmuCounters = 8;

}  // namespace Korr::Plim::Trace::Exports
