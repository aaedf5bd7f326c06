#pragma once

#include <string_view>

namespace Korr::Plim::Trace::Viewer {

/// The page that shows a recording: UTF-8, one self-contained file without references to others. It asks the
/// server that it came from, unless a recording stands in place of `<!--RECORDING-->`, which it holds once;
/// see docs/viewer-feed.md. Made by viewer/build-page.
std::string_view PageHtml();

}  // namespace Korr::Plim::Trace::Viewer
