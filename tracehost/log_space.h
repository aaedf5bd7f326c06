#pragma once

#include <cstdint>
#include <string>

namespace Korr::Plim::Trace::Tracehost {

/// Seam: gives the disk back the room of a file's first bytes, which read as zeros afterwards; its length
/// stays, and whoever writes at its end goes on. \return false where file system or platform cannot
bool ForgetBeginning(const std::string& file, uint64_t bytes);

}  // namespace Korr::Plim::Trace::Tracehost
