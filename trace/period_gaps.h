#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "trace/packets.h"
#include "trace/trace_clock.h"

namespace Korr::Plim::Trace::Swo {

/// Finds packets that are missing in a row that comes periodically: a source (stimulus port, exception,
/// comparator, PC sampling, event counters) that came at equal distances 100 times and then at a multiple of
/// them. Bytes that were lost together with their timestamps are not found so, for the time they took is lost
/// as well. Fixed size, some 30 KiB.
class PeriodGaps {
  public:
    static constexpr uint32_t kEqual = 100;       ///< distances that make a period
    static constexpr uint64_t kShortest = 64;     ///< ticks; a shorter one is no period but a burst
    static constexpr uint64_t kMostMissing = 16;  ///< more are a pause

    /// Every packet, with its time. Returns how many of its source are missing before it; 0 as a rule.
    uint64_t Take(const Packet& packet, const PacketTime& time);

  private:
    struct Row {
        uint64_t last = 0;    ///< ticks
        uint64_t period = 0;  ///< ticks
        uint32_t equal = 0;   ///< distances in a row
        uint32_t pauses = 0;  ///< after which so many more equal ones are asked for, doubled each time
        uint32_t stretch = 0;
    };
    uint64_t Next(Row& row, uint64_t ticks) const;

    static constexpr size_t kPorts = 256;
    static constexpr size_t kExceptions = 512;
    static constexpr size_t kComparators = 16;
    static constexpr size_t kRows = kPorts + kExceptions + kComparators + 2;
    static std::optional<size_t> RowOf(const Packet& packet);

    uint32_t stretch = 1;  ///< of exact time; what came before the last loss is not compared
    bool exact = true;
    std::array<Row, kRows> rows{};
};

}  // namespace Korr::Plim::Trace::Swo
