#pragma once

#include <string>

namespace Korr::Plim::Trace {

/// A text of the host's standard string type: here host and plug-in share their standard library. What of it
/// crosses the boundary, and who frees it, is told in host_api/windows/HostString.h, where they do not.
using HostString = std::string;

}  // namespace Korr::Plim::Trace
