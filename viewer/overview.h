#pragma once

#include "viewer/recording_feed.h"

namespace Korr::Plim::Trace::Viewer {

/// How a track is labelled: untrusted text, of any bytes.
std::string LabelOf(const Swo::Track& track, const RecordingSettings& settings);

/// The answer to Feed::Overview. \param forecast how likely a hole is noticed
std::string OverviewOf(const RecordingSettings& settings, const Swo::RecordingIndex& index,
                       const Swo::RecordingAxis& axis, const FeedState& state, bool complete,
                       std::optional<double> forecast);

/// Where the axis of a recording ends: behind everything, and behind its beginning.
double EndOf(const Swo::RecordingIndex& index, const Swo::RecordingAxis& axis);

}  // namespace Korr::Plim::Trace::Viewer
