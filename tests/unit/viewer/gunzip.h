#pragma once

#include <string>

namespace Korr::Plim::Trace::Viewer {

/// What Gzip was given; the test fails when the form is not that of RFC 1952.
std::string Gunzip(const std::string& packed);

}  // namespace Korr::Plim::Trace::Viewer
