#pragma once

#include <array>
#include <optional>
#include <span>

#include "trace/tpiu_deframer.h"
#include "trace/validity.h"

/// \file
/// Where frames begin, found by what they carry: many recordings hold no synchronisation of the frames.

namespace Korr::Plim::Trace::Swo {

/// How well bytes can be read as frames when the first one begins at a given place.
struct PhaseScore {
    unsigned phase = 0;  ///< the place, 0 to 15
    double frames =
        0;  ///< share of the bytes that the (at most four) commonest streams carry; reserved ones do not
    unsigned streams = 0;        ///< how many there seem to be
    double numbersFirst = 0;     ///< share of the frames whose first byte is a stream's number
    uint8_t stream = kNoStream;  ///< the one that is an ITM stream the most
    Validity itm;                ///< of that one
    std::array<uint64_t, kStreams> bytesOf{};
    uint64_t bytes = 0;  ///< of all streams

    double Score() const { return frames * itm.Share(); }
    /// Streams that carry a fair share of the bytes, and those that are never more than a few.
    std::bitset<kStreams> CommonStreams() const;
};

struct Alignment {
    PhaseScore best;
    double next = 0;     ///< score of the best other phase
    uint64_t bytes = 0;  ///< that were looked at
};

/// `stream`: look at this one only. `scratch` is as long as the bytes, or longer.
PhaseScore ScorePhase(std::span<const uint8_t> bytes, unsigned phase, std::optional<uint8_t> stream,
                      std::span<uint8_t> scratch);

/// All phases. Of the bytes the first kMostAligned are looked at.
inline constexpr size_t kMostAligned = size_t{256} << 10;
Alignment AlignFrames(std::span<const uint8_t> bytes, std::optional<uint8_t> stream,
                      std::span<uint8_t> scratch);

}  // namespace Korr::Plim::Trace::Swo
