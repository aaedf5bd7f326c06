#pragma once

#include <string>
#include <string_view>

namespace Korr::Plim::Trace::Viewer {

/// Seam: bytes in the form of RFC 1952, which browsers read: small where the platform has a library that
/// makes them so, else as StoredGzip has them. The same bytes give the same. \throws std::runtime_error when
/// it fails
std::string Gzip(std::string_view bytes);

/// Bytes in that form, each as it is.
std::string StoredGzip(std::string_view bytes);

}  // namespace Korr::Plim::Trace::Viewer
