#pragma once

#include <cstddef>

namespace support {

/// Bytes of memory that operator new has given and not got back, on all threads; with what the allocator
/// rounds up. Programs that link live_bytes.cpp allocate through it. glibc alone.
std::size_t LiveBytes();

}  // namespace support
