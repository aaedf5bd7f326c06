#pragma once

#include <cstdint>

namespace KORR_PLIM::platform {

/// Seam: identifier of this process.
uint32_t CurrentProcessId();
/// Seam: whether a process with this id exists. The id of a thread, a process that has ended and is only
/// remembered (a zombie, on Linux), a list of processes that cannot be read, and id 0 give false.
bool ProcessExists(uint32_t processId);

}  // namespace KORR_PLIM::platform
