#pragma once

#include <string>
#include <string_view>

namespace Korr::Plim::Trace::Viewer {

/// Bytes, compressed as RFC 1952 has it, which browsers read. The same bytes give the same.
/// \throws std::runtime_error when it fails, or when they are more than 1 GiB
std::string Gzip(std::string_view bytes);

}  // namespace Korr::Plim::Trace::Viewer
