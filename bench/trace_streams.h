#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace bench {

/// At least so many bytes of an ITM stream of mixed packets: text in single bytes (50 %), words (20 %), PC
/// samples (10 %), local timestamps (15 %), exceptions (5 %), and a synchronisation before each 512 packets.
std::vector<uint8_t> MixedStream(std::size_t bytes);
/// Event counters, each with a local timestamp.
std::vector<uint8_t> EventStream(std::size_t bytes);
/// TPIU frames as of a target that samples its PC and traces instructions: stream 1 is ITM, stream 2 is not,
/// and 40 % is padding.
std::vector<uint8_t> FramedStream(std::size_t bytes);

}  // namespace bench
