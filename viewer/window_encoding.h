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

/// The binary answer "KTW1". \param blockBytes of the capture that the finest summaries cover
std::string EncodeWindow(const Swo::WindowAnswer& answer, const Swo::WindowFrame& frame, uint64_t revision,
                         uint64_t blockBytes);

}  // namespace Korr::Plim::Trace::Viewer
