#pragma once

#include <cstdint>

/// Counts the collector's reads of the port, and changes them where it is told to, from outside: the linker
/// puts this counter between the collector and the port (--wrap), so that what is measured is the collector
/// as it ships.
struct ReadCounts {
    uint64_t reads;
    uint64_t emptyReads;  ///< successful, without a byte
    uint64_t bytes;
    double secondsReceiving;  ///< from the first byte to the last
};

/// Forgets the reads so far, those of what was pending when the port was opened. Call it before the thread
/// starts.
void BeginCounting();
/// The counts so far; any thread.
ReadCounts CountedReads();
/// Makes the reading thread stand still once for so many milliseconds, when so many bytes have been read.
/// Call it before the thread starts.
void StandStillAfter(uint64_t bytes, uint32_t milliseconds);
/// Makes the collector read as the Windows body of the port does, on any platform: at most 100 bytes at once,
/// without a wait. Call it before the thread starts.
void Poll();
