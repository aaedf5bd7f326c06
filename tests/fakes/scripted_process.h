#pragma once

#include <cstdint>
#include <set>

#include "tests/fakes/call_script.h"

/// \file
/// Controls of the scripted processes. Calls that can fail: ProcessExists (the list cannot be read).

namespace fakes::process {

/// This process is 4321, and the only one.
void Reset();
CallScript& Script();
void SetCurrentProcessId(uint32_t id);
/// The processes that exist beside this one.
void SetLivingProcesses(std::set<uint32_t> ids);

}  // namespace fakes::process
