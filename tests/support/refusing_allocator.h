#pragma once

#include <atomic>
#include <cstddef>

namespace support {

/// Allocations of exactly this size fail, on every thread; 0 for none. Programs that link
/// refusing_allocator.cpp allocate through it.
extern std::atomic<std::size_t> refusedSize;

}  // namespace support
