#pragma once

#include <cstddef>
#include <cstdint>

namespace bench {

/// The file calls that reading and saving captured data are documented to make, and nothing else: what a
/// programmer would write down in C. The baseline for ChannelDriver. Samples are 8 bytes.

/// Opens the file, seeks, reads, closes; asks nothing of what it has opened. \return samples read
uint32_t PlainSeekReadOnce(const char* capture, uint32_t start, uint32_t requested, void* buffer);
/// The same after opening the file for its length and closing it, which the number of samples takes. As in
/// the receiver, and in all that follows here, what is opened for reading is asked whether it is a file.
uint32_t PlainSeekRead(const char* capture, uint32_t start, uint32_t requested, void* buffer);
/// Writes the capture into a file of its own, 8192 samples a time. False when a call failed.
bool PlainSaveRaw(const char* capture, const char* output);
/// Adds the capture to an existing file as a section "BinTraceData", 8192 samples a time. False when a call
/// failed.
bool PlainSaveTdf(const char* capture, const char* output);

}  // namespace bench
