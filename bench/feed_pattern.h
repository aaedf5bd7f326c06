#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace bench {

/// The bytes that the benchmarks feed and compare: words of 8 bytes, each a function of its number alone, so
/// a byte that was lost, doubled or changed shows in every word that follows or in its own.
inline constexpr std::size_t kWordSize = 8;

inline uint64_t FeedWord(uint64_t number) { return (number + 1) * 0x9E3779B97F4A7C15ULL; }

/// Fills `size` bytes (a multiple of 8) with the pattern from byte `offset` (a multiple of 8).
inline void FillFeed(char* buffer, std::size_t size, uint64_t offset) {
    for (std::size_t at = 0; at < size; at += kWordSize) {
        const uint64_t word = FeedWord((offset + at) / kWordSize);
        std::memcpy(buffer + at, &word, kWordSize);
    }
}

}  // namespace bench
