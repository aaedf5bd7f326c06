#pragma once

#include <string>
#include <string_view>

#include "viewer/recording_feed.h"

namespace Korr::Plim::Trace::Viewer {

/// Where a page's text has the recording.
inline constexpr std::string_view kRecordingPlace = "<!--RECORDING-->";

/// The page with a recording in it, see docs/viewer-feed.md, "In a file". The feed is complete.
/// \param budgetBytes of what is put in; the overview and the coarsest window are in it whatever they take
/// \throws std::invalid_argument when the page has no kRecordingPlace, std::runtime_error when the capture
/// cannot be read
std::string EmbedRecording(const RecordingFeed& feed, std::string_view pageHtml, std::size_t budgetBytes);

}  // namespace Korr::Plim::Trace::Viewer
