#pragma once

#include <array>
#include <bitset>
#include <string_view>
#include <variant>
#include <vector>

#include "trace/exception_runs.h"
#include "trace/port_values.h"
#include "trace/recording_axis.h"
#include "trace/track.h"

/// \file
/// What a stretch of a recording's axis shows.

namespace Korr::Plim::Trace::Swo {

using ArrayData = std::variant<std::vector<uint8_t>, std::vector<uint16_t>, std::vector<uint32_t>,
                               std::vector<float>, std::vector<double>>;
struct NamedArray {
    std::string_view name;  ///< lives as long as the program
    ArrayData data;
};

struct WindowTrack {
    Track track;
    std::vector<NamedArray> arrays;
};

struct WindowAnswer {
    bool exact = false;               ///< every event, else columns
    std::vector<WindowTrack> tracks;  ///< those with anything in the window
    std::vector<NamedArray> marks;
};

/// Where the packets of a window can end, at the latest.
struct WindowEnd {
    uint64_t position = 0;
    uint64_t place = 0;
};

/// Flags of events.
inline constexpr uint8_t kEventSuspect = 1;
inline constexpr uint8_t kEventSalvaged = 2;
inline constexpr uint8_t kEventWrite = 4;
inline constexpr uint8_t kEventBounded = 8;
inline constexpr uint8_t kEventLate = 16;
inline constexpr uint8_t kEventWithoutTime = 32;

uint8_t EventFlags(const Packet& packet, TimeQuality quality);

/// PC samples without an address.
inline constexpr double kPcAsleep = -1;
inline constexpr double kPcHidden = -2;  ///< trace was prohibited

/// How the numbers of tracks are read.
struct TrackTypes {
    std::array<PortType, kPorts> ports{};
    std::array<PortType, 2 * kComparators> watches{};  ///< values read and written, of each comparator

    bool IsText(size_t port) const { return ports[port] == PortType::Text; }
    /// Of a track with values.
    PortType Of(const Track& track) const;
};

/// What is asked for: a stretch [from, to) of the axis in columns, of chosen tracks.
struct WindowFrame {
    const RecordingAxis& axis;
    bool timed;  ///< positions are ticks
    double from;
    double to;
    uint32_t pixels;
    std::bitset<kTracks> wanted;
    const TrackTypes& types;
    uint64_t first;  ///< position: the stretch holds those in [first, last)
    uint64_t last;

    WindowFrame(const RecordingAxis& numberLine, bool inTicks, double begin, double end, uint32_t columns,
                const std::bitset<kTracks>& tracks, const TrackTypes& trackTypes)
        : axis(numberLine),
          timed(inTicks),
          from(begin),
          to(end),
          pixels(columns),
          wanted(tracks),
          types(trackTypes),
          first(numberLine.PositionAt(begin)),
          last(numberLine.PositionAt(end)) {}

    bool Wants(const Track& track) const { return wanted[RowOf(track)]; }
    bool WantsExceptions() const {
        for (size_t row = track_row::kNesting; row < track_row::kPort; ++row) {
            if (wanted[row]) return true;
        }
        return false;
    }
    /// The column of a time; of one outside the stretch the nearest.
    uint32_t Column(double time) const {
        const double column = (time - from) / (to - from) * pixels;
        if (!(column > 0)) return 0;
        return column >= pixels ? pixels - 1 : static_cast<uint32_t>(column);
    }
};

}  // namespace Korr::Plim::Trace::Swo
