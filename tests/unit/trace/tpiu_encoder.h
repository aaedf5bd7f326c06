#pragma once

#include <vector>

#include "tests/unit/trace/itm_encoder.h"

namespace Korr::Plim::Trace::Swo {

/// A byte that a stream gives to the formatter.
struct Given {
    uint8_t stream;
    uint8_t byte;
};

/// Which synchronisation a formatter puts in: one before so many frames or pairs of bytes, on the average; 0:
/// none.
struct Syncs {
    unsigned full = 0;
    unsigned half = 0;
};

struct Framed {
    Bytes bytes;
    std::vector<uint64_t> places;  ///< in `bytes`, of each byte that was given
};

/// Frames as a formatter makes them of the bytes of several streams, and fills the last one up with the null
/// stream's. Written from the description of the frames, and shares nothing with the deframer.
Framed Frame(const std::vector<Given>& given, const Syncs& syncs = {}, unsigned seed = 1);

/// The bytes of stream `stream` among those of others: instruction trace in stream `stream` + 1 and padding.
std::vector<Given> Mixed(const Bytes& bytes, uint8_t stream, unsigned seed);

}  // namespace Korr::Plim::Trace::Swo
