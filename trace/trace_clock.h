#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "trace/packets.h"

namespace Korr::Plim::Trace::Swo {

enum class TimeQuality : uint8_t {
    Exact,    ///< the target says when
    Bounded,  ///< not before the last timestamp, and not after `ticks` where one came
    Late,     ///< by an unknown amount: timestamps were lost, or may have been
    None,     ///< there is no timestamp
};

/// The name that files and reports show: "exact".
std::string_view QualityName(TimeQuality quality);

/// When something happened, in ticks of the local timestamps since the first byte.
struct PacketTime {
    uint64_t ticks = 0;     ///< 0 without a time
    uint64_t earliest = 0;  ///< Bounded: not before this; else the same as `ticks`
    TimeQuality quality = TimeQuality::None;

    bool operator==(const PacketTime&) const = default;
};

/// Adds the timestamps of a stream up. A copy keeps its state.
///
/// The time of a packet is that of the first local timestamp behind it. After an overflow or damage
/// timestamps may be missing: the time is late until a global timestamp tells by how much, which takes one
/// before the loss as well, and a global clock that ran at the same rate. Where the two have agreed several
/// times and then do not, local timestamps are missing that nothing else told of.
class TraceClock {
  public:
    /// `prescale`: clock cycles per tick of the local timestamps: 1, 4, 16 or 64.
    explicit TraceClock(uint32_t prescale = 1) : cyclesPerTick(prescale == 0 ? 1 : prescale) {}

    /// Every packet of the stream, in its order.
    void OnPacket(const Packet& packet) {
        missed = 0;
        if ((kTelling >> static_cast<unsigned>(packet.kind) & 1) != 0) OnTelling(packet);
    }

    /// The last local timestamp: also the time of the packets between it and the one before it.
    const PacketTime& Last() const { return last; }
    /// Of packets that no timestamp came for: not before the last one.
    PacketTime Open() const;

    /// The global timestamp; none while bits of it are unknown.
    std::optional<uint64_t> GlobalTime() const;
    /// How often the target said that the global clock's rate has changed.
    uint64_t ClockChanges() const { return clockChanges; }
    /// How many ticks were found missing by a global timestamp, in all.
    uint64_t TicksFound() const { return ticksFound; }
    /// How many ticks the last packet, a local timestamp, has shown to be missing though nothing in the
    /// stream told of a loss; 0 as a rule. They are in its time.
    uint64_t Missed() const { return missed; }

    /// Nanoseconds of so many ticks at a trace clock of `clockHz`, at least 1; rounded down.
    uint64_t Nanoseconds(uint64_t ticks, uint64_t clockHz) const {
        constexpr uint64_t kPerSecond = 1'000'000'000;
        const uint64_t cycles = ticks * cyclesPerTick;
        const uint64_t rest = cycles % clockHz;
        const uint64_t nanoseconds =
            clockHz <= UINT64_MAX / kPerSecond ? rest * kPerSecond / clockHz : rest / (clockHz / kPerSecond);
        return cycles / clockHz * kPerSecond + nanoseconds;
    }

  private:
    struct Anchor {
        uint64_t global = 0;
        uint64_t ticks = 0;
        bool valid = false;
    };

    /// The kinds of packets that tell of the time.
    static constexpr uint32_t kTelling = [] {
        uint32_t kinds = 0;
        for (const PacketKind kind : {PacketKind::LocalTime, PacketKind::GlobalTimeLow,
                                      PacketKind::GlobalTimeHigh, PacketKind::Overflow, PacketKind::Reserved,
                                      PacketKind::Malformed, PacketKind::Unsynchronised}) {
            kinds |= uint32_t{1} << static_cast<unsigned>(kind);
        }
        return kinds;
    }();

    void OnTelling(const Packet& packet);
    void OnLocalTime(const Packet& packet);
    void OnGlobalTimeLow(const Packet& packet);
    /// A global timestamp and a local one behind it.
    void Compare(uint64_t global);
    void CompareExact(uint64_t passed, uint64_t globalPassed);

    uint64_t cyclesPerTick;
    PacketTime last{};
    bool late = false;
    uint64_t global = 0;
    bool lowKnown = false;
    bool highKnown = false;
    bool globalIsNew = false;  ///< no local timestamp came behind it
    bool rateDiffers = false;  ///< the global clock runs at another rate than the local one
    Anchor anchor{};
    uint64_t clockChanges = 0;
    uint64_t ticksFound = 0;
    uint64_t missed = 0;
    uint64_t usuallyApart = 0;  ///< the most ticks that the two clocks differed by between two anchors
    uint32_t compared = 0;      ///< how often they were
};

}  // namespace Korr::Plim::Trace::Swo
