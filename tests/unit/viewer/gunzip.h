#pragma once

#include <string>

namespace Korr::Plim::Trace::Viewer {

/// What Gzip or StoredGzip was given; empty, and the test fails, when the form is not that of RFC 1952. On
/// Windows blocks that are stored alone. Shares nothing with what writes it.
std::string Gunzip(const std::string& packed);

}  // namespace Korr::Plim::Trace::Viewer
