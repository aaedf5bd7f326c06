#pragma once

#include <array>
#include <cstdint>

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
    uint64_t Take(const Packet& packet, const PacketTime& time) {
        const Place& place = kPlaces[static_cast<size_t>(packet.kind)];
        if (time.quality != TimeQuality::Exact) {
            OnOtherTime(time.quality);
            return 0;
        }
        exact = true;
        if (!place.used || (packet.flags & place.flagsLooked) != place.flagsMeant) return 0;
        Row& row = rows[place.first + (packet.source & place.sources)];
        return row.last == time.ticks && row.stretch == stretch ? 0 : Next(row, time.ticks);
    }

  private:
    /// The rows of a kind of packets.
    struct Place {
        bool used = false;
        uint8_t flagsLooked = 0;
        uint8_t flagsMeant = 0;
        uint16_t first = 0;
        uint16_t sources = 0;  ///< bits of the source that count
    };
    struct Row {
        uint64_t last = 0;    ///< ticks
        uint64_t period = 0;  ///< ticks
        uint32_t equal = 0;   ///< distances in a row
        uint32_t pauses = 0;  ///< after which so many more equal ones are asked for, doubled each time
        uint32_t stretch = 0;
    };
    using Places = std::array<Place, kPacketKinds>;
    static constexpr Places MakePlaces();
    static const Places kPlaces;
    void OnOtherTime(TimeQuality quality);
    uint64_t Next(Row& row, uint64_t ticks) const;

    static constexpr size_t kRows = 256 + 512 + 3 * 4 + 2;

    uint32_t stretch = 1;  ///< of exact time; what came before the last loss is not compared
    bool exact = true;
    std::array<Row, kRows> rows{};
};

}  // namespace Korr::Plim::Trace::Swo
