#pragma once

#include <string>

namespace Korr::Plim::Trace {

/// A text of the host's standard string type: the compiler's own, in release builds. See
/// host_api/windows/HostString.h.
using HostString = std::string;

}  // namespace Korr::Plim::Trace
