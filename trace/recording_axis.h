#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "trace/arrival_gaps.h"
#include "trace/trace_clock.h"

namespace Korr::Plim::Trace::Swo {

/// What the number line of a recording counts.
enum class AxisKind : uint8_t {
    Timestamps,  ///< the target's local timestamps, added up
    Arrival,     ///< when the host saw the bytes
    Line,        ///< not before the line could carry the bytes
    Bytes,       ///< offsets in the capture
};
std::string_view AxisKindName(AxisKind kind);  ///< "timestamps"

/// What is known of a recording's time beside its packets.
struct AxisSettings {
    std::optional<double> clockHz;  ///< trace clock; absent or not above 0: timestamps count ticks
    uint32_t prescale = 1;          ///< clock cycles a tick
    std::optional<double> baud;     ///< of the line
    std::vector<Arrival> arrivals;  ///< of the capture's bytes; both numbers never fall
};

/// The number line of a recording. A place on it is a *position*: ticks when there are timestamps, else an
/// offset in the capture. Positions never fall along the capture, and times never fall along positions.
class RecordingAxis {
  public:
    /// \param timed whether the capture has local timestamps
    RecordingAxis(const AxisSettings& settings, bool timed);

    AxisKind Kind() const { return kind; }
    std::string_view Unit() const;  ///< "ns", "ticks" or "bytes"
    /// When this was, in units. Finite and not below 0.
    double At(uint64_t position) const;
    /// The first position that is not before a time; UINT64_MAX when there is none.
    uint64_t PositionAt(double time) const;

  private:
    AxisKind kind;
    bool nanoseconds;
    double scale = 1;               ///< units a position
    std::vector<Arrival> arrivals;  ///< of Arrival
};

/// Where a packet stands.
struct Standing {
    uint64_t place = 0;  ///< its offset in the capture, made never to fall
    uint64_t ticks = 0;  ///< of its time, made never to fall

    /// See RecordingAxis. \param timed whether the capture has local timestamps
    uint64_t Position(bool timed) const { return timed ? ticks : place; }
};

/// Finds where packets stand, one after another. A copy keeps its state.
class PacketPlacer {
  public:
    explicit PacketPlacer(const Standing& before = {}) : last(before) {}
    const Standing& Take(uint64_t offset, const PacketTime& time) {
        if (offset > last.place) last.place = offset;
        if (time.ticks > last.ticks) last.ticks = time.ticks;
        return last;
    }
    const Standing& Last() const { return last; }

  private:
    Standing last;
};

}  // namespace Korr::Plim::Trace::Swo
