#pragma once

#include <cstdint>

namespace bench {

/// Calls of operator new in this process so far. Any thread. Replaces the process's operators new and delete.
uint64_t Allocations();

}  // namespace bench
