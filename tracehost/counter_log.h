#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "tracehost/port_counters.h"

namespace Korr::Plim::Trace::Tracehost {

/// By how much a port's counters have grown between two looks.
struct CounterGrowth {
    uint64_t bytes = 0;  ///< captured at the second look: what was counted lies before
    PortCounters by;
    bool operator==(const CounterGrowth&) const = default;
};

inline constexpr std::size_t kMostCounterGrowths = 1024;

/// How far each counter has gone on; 0 for one that has begun anew.
PortCounters GrownBy(const PortCounters& from, const PortCounters& to);
/// All of them.
uint64_t SumOf(const PortCounters& counters);

/// Collects what looks at a port's counters show: the first, the last, and where they grew. When there are
/// more than kMostCounterGrowths places, each two neighbours become one.
class CounterLog {
  public:
    /// A look. \param bytes captured by then, never falling
    void Add(const PortCounters& now, uint64_t bytes);
    const std::optional<PortCounters>& First() const { return first; }
    const std::optional<PortCounters>& Last() const { return last; }
    const std::vector<CounterGrowth>& Growth() const { return growth; }

  private:
    std::optional<PortCounters> first;
    std::optional<PortCounters> last;
    std::vector<CounterGrowth> growth;
};

}  // namespace Korr::Plim::Trace::Tracehost
