#pragma once

#include <string>

#include "trace/window_answer.h"

namespace Korr::Plim::Trace::Viewer {

/// The id of a track: "port:3", "watch:0:read", "counter:cpi".
std::string IdOf(const Swo::Track& track);
/// The track of an id; none when it is no id.
std::optional<Swo::Track> TrackOf(std::string_view id);

/// What a stretch of the axis is in words: "3.2 ms", "12 ticks", "300 bytes". \param unit of the axis
std::string DescribeStretch(double stretch, std::string_view unit);

/// Packets as they are, of a stretch of the axis.
struct EventList {
    std::vector<double> time;
    std::vector<double> offset;
    std::vector<uint8_t> kind;  ///< Swo::PacketKind
    std::vector<uint16_t> source;
    std::vector<uint8_t> size;
    std::vector<double> value;      ///< see Swo::ValueOf
    std::vector<uint8_t> flags;     ///< see Swo::EventFlags
    std::vector<uint8_t> function;  ///< of exceptions: 1 entered, 2 left, 3 returned to; else 0
    std::optional<uint64_t>
        next;  ///< offset of the first packet that is not here any more; absent: there is none
};

/// The same form with one track, "events", and the names of the kinds in its header.
std::string EncodeEvents(EventList&& list, double from, double to, uint64_t revision);

/// The binary answer "KTW1". \param blockBytes of the capture that the finest summaries cover
std::string EncodeWindow(const Swo::WindowAnswer& answer, const Swo::WindowFrame& frame, uint64_t revision,
                         uint64_t blockBytes);

}  // namespace Korr::Plim::Trace::Viewer
