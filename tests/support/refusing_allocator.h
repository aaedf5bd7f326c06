#pragma once

#include <atomic>
#include <cstddef>

namespace support {

/// Allocations of exactly this size fail, on every thread; 0 for none. Programs that link
/// refusing_allocator.cpp allocate through it.
extern std::atomic<std::size_t> refusedSize;
/// Which allocation of the calling thread fails, once: 1 for the next one, 0 for none.
extern thread_local std::size_t refusedNext;
/// How many were refused so far because of refusedNext, on all threads.
extern std::atomic<int> refusals;

}  // namespace support
