#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace Korr::Plim::Trace::Tracehost {

/// Seam: ids of the threads of this process, in no order; empty when the system does not tell.
std::vector<uint64_t> OwnThreads();

/// Seam: bytes that a file written by this process may have; absent when there is no limit, or none that the
/// system tells.
std::optional<uint64_t> FileSizeLimit();

}  // namespace Korr::Plim::Trace::Tracehost
