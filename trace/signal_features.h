#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

/// \file
/// What received bytes tell of the line they came from, whatever they mean.

namespace Korr::Plim::Trace::Swo {

/// Measures of bytes as a UART received them: a start bit (0), eight data bits, lowest first, a stop bit (1).
/// All shares are from 0 to 1, and 0 where nothing was there to measure.
struct LineFeatures {
    uint64_t bytes = 0;
    double entropy = 0;    ///< bits a byte, corrected for the number of bytes; at most 8
    double zeros = 0;      ///< share of 0x00
    double ones = 0;       ///< share of 0xFF
    double shortRuns = 0;  ///< of the runs of equal bits that begin and end inside a byte: those of one bit
    double longRuns = 0;   ///< of the same runs: those of three bits and more
    uint64_t innerRuns = 0;
    std::array<double, 8> bitSet{};     ///< how often each bit is 1
    std::array<double, 7> pairEqual{};  ///< how often bit j is the same as bit j + 1
};

/// How often each value of a byte came: all that the measures need.
using ByteCounts = std::array<uint64_t, 256>;
LineFeatures MeasureLine(const ByteCounts& counts);
LineFeatures MeasureLine(std::span<const uint8_t> bytes);

/// How many times as fast as the line the port was set, when that was too fast. Such a port samples some bits
/// of the line twice, always at the same places of a byte, so that these places give the ratio within a few
/// per cent.
struct RateRatio {
    double lowest;
    double highest;
    bool exact =
        true;  ///< the doubled bits were always the same; else as a rule, as of a port that loses its place
    double Middle() const { return (lowest + highest) / 2; }
};

/// \return absent when no bits are doubled, or not as a faster port would. From 1.07 up to 8 is told; what is
/// received at less than 1.07 is the line's bytes, though without stop bits.
std::optional<RateRatio> EstimateTooFast(const LineFeatures& line);

/// Whether the port seems set 3 to 12 % too slow: the last data bit is where the line's stop bit is.
bool SeemsLittleTooSlow(const LineFeatures& line);

}  // namespace Korr::Plim::Trace::Swo
