#include "trace/signal_features.h"

#include <algorithm>
#include <cmath>

namespace Korr::Plim::Trace::Swo {

namespace {

constexpr double kAlways = 0.97;     // bits that are sampled twice are equal, but for a byte now and then
constexpr double kHighestRatio = 8;  // beyond it a byte holds one bit of the line
constexpr double kStep = 0.005;      // of the search
constexpr int kMostMismatches = 0;

double Entropy(const ByteCounts& counts, uint64_t total) {
    double bits = 0;
    int values = 0;
    for (const uint64_t count : counts) {
        if (count == 0) continue;
        const double share = static_cast<double>(count) / static_cast<double>(total);
        bits -= share * std::log2(share);
        ++values;
    }
    // What few samples hide of it (Miller and Madow).
    const double hidden = (values - 1) / (2 * std::log(2.0) * static_cast<double>(total));
    return std::min(8.0, bits + hidden);
}

/// Runs of equal bits in start bit, data and stop bit that neither begin with the start bit nor end with the
/// stop bit, whose neighbours are not known.
void CountRuns(unsigned byte, uint64_t times, uint64_t& oneBit, uint64_t& all) {
    const unsigned frame = byte << 1 | 1U << 9;
    int begin = 0;
    for (int bit = 1; bit <= 9; ++bit) {
        if ((frame >> bit & 1U) == (frame >> begin & 1U)) continue;
        if (begin > 0) {
            all += times;
            if (bit - begin == 1) oneBit += times;
        }
        begin = bit;
    }
}

/// The line's bit that a port `ratio` times as fast samples as its own, both counted from the start bit.
int SampledBit(int bit, double ratio) { return static_cast<int>((bit + 0.5) / ratio); }

/// In how many places of a byte the doubled bits are other than such a port would see them; below 0 when it
/// would see none.
int Mismatches(const LineFeatures& line, double ratio) {
    int wrong = 0;
    int doubled = 0;
    const auto compare = [&](bool predicted, bool seen) {
        wrong += predicted != seen ? 1 : 0;
        doubled += predicted ? 1 : 0;
    };
    compare(SampledBit(1, ratio) == 0, line.bitSet[0] <= 1 - kAlways);
    for (int pair = 0; pair < 7; ++pair) {
        compare(SampledBit(pair + 1, ratio) == SampledBit(pair + 2, ratio),
                line.pairEqual[static_cast<size_t>(pair)] >= kAlways);
    }
    return doubled == 0 ? -1 : wrong;
}

}  // namespace

LineFeatures MeasureLine(std::span<const uint8_t> bytes) {
    ByteCounts counts{};
    for (const uint8_t byte : bytes) ++counts[byte];
    return MeasureLine(counts);
}

LineFeatures MeasureLine(const ByteCounts& counts) {
    LineFeatures line;
    for (const uint64_t count : counts) line.bytes += count;
    if (line.bytes == 0) return line;
    const auto total = static_cast<double>(line.bytes);
    line.entropy = Entropy(counts, line.bytes);
    line.zeros = static_cast<double>(counts[0]) / total;
    line.ones = static_cast<double>(counts[0xFF]) / total;
    uint64_t oneBit = 0;
    for (unsigned value = 0; value < 256; ++value) {
        CountRuns(value, counts[value], oneBit, line.innerRuns);
        const double share = static_cast<double>(counts[value]) / total;
        for (unsigned bit = 0; bit < 8; ++bit) line.bitSet[bit] += (value >> bit & 1U) != 0 ? share : 0;
        for (unsigned bit = 0; bit < 7; ++bit) {
            line.pairEqual[bit] += ((value >> bit ^ value >> (bit + 1)) & 1U) == 0 ? share : 0;
        }
    }
    if (line.innerRuns > 0)
        line.shortRuns = static_cast<double>(oneBit) / static_cast<double>(line.innerRuns);
    return line;
}

std::optional<RateRatio> EstimateTooFast(const LineFeatures& line) {
    std::optional<RateRatio> found;
    for (double ratio = 1 + kStep; ratio <= kHighestRatio; ratio += kStep) {
        const int wrong = Mismatches(line, ratio);
        if (wrong < 0 || wrong > kMostMismatches) continue;
        if (!found) found = RateRatio{ratio, ratio};
        found->highest = ratio;
    }
    return found;
}

bool SeemsLittleTooSlow(const LineFeatures& line) {
    constexpr double kClearly = 0.02;
    constexpr double kFewestShortRuns =
        0.53;  // a port a quarter too slow joins more bits than it leaves alone
    const double others = *std::max_element(line.bitSet.begin() + 2, line.bitSet.begin() + 7);
    return line.bitSet[7] >= others + kClearly && line.shortRuns >= kFewestShortRuns;
}

}  // namespace Korr::Plim::Trace::Swo
