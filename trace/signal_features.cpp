#include "trace/signal_features.h"

#include <algorithm>
#include <cmath>

namespace Korr::Plim::Trace::Swo {

namespace {

constexpr double kAlways = 0.97;     // bits that are sampled twice are equal, but for a byte now and then
constexpr double kHighestRatio = 8;  // beyond it a byte holds one bit of the line
constexpr double kStep = 0.005;      // of the search
constexpr double kHighestOften = 4.5;
constexpr double kSeldom = 0.2;
constexpr double kOften = 0.66;
constexpr double kOneOften = 0.76;
constexpr double kDoubledGap = 0.08;
constexpr double kOneDoubledGap = 0.05;
constexpr double kOneDoubledRuns = 0.47;
constexpr double kMostShortRuns = 0.6;  // bits that are doubled make no run shorter
constexpr double kFewShortRatio = 1.3;
constexpr double kFewShortRuns = 0.35;

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

struct Runs {
    uint64_t all = 0;
    uint64_t oneBit = 0;
    uint64_t longer = 0;  ///< than two bits
};

/// Runs of equal bits in start bit, data and stop bit that neither begin with the start bit nor end with the
/// stop bit, whose neighbours are not known.
void CountRuns(unsigned byte, uint64_t times, Runs& runs) {
    const unsigned frame = byte << 1 | 1U << 9;
    int begin = 0;
    for (int bit = 1; bit <= 9; ++bit) {
        if ((frame >> bit & 1U) == (frame >> begin & 1U)) continue;
        if (begin > 0) {
            runs.all += times;
            if (bit - begin == 1) runs.oneBit += times;
            if (bit - begin >= 3) runs.longer += times;
        }
        begin = bit;
    }
}

/// The line's bit that a port `ratio` times as fast samples as its own, both counted from the start bit.
int SampledBit(int bit, double ratio) { return static_cast<int>((bit + 0.5) / ratio); }

/// Which bits a port `ratio` times as fast as the line samples twice: the pairs of equal neighbours, and
/// whether the lowest bit is the start bit once more.
struct Doubled {
    std::array<bool, 7> pairs{};
    bool start = false;
    int count = 0;
};

Doubled DoubledAt(double ratio) {
    Doubled doubled;
    doubled.start = SampledBit(1, ratio) == 0;
    for (int pair = 0; pair < 7; ++pair) {
        const bool same = SampledBit(pair + 1, ratio) == SampledBit(pair + 2, ratio);
        doubled.pairs[static_cast<size_t>(pair)] = same;
        doubled.count += same ? 1 : 0;
    }
    return doubled;
}

/// Whether bits are doubled in every byte at these places and at no others.
bool AlwaysDoubled(const LineFeatures& line, const Doubled& doubled) {
    if (doubled.count == 0 || doubled.start != (line.bitSet[0] <= 1 - kAlways)) return false;
    for (size_t pair = 0; pair < 7; ++pair) {
        if (doubled.pairs[pair] != (line.pairEqual[pair] >= kAlways)) return false;
    }
    return true;
}

/// How far the doubled pairs stand out of the others, where a port that does not wait for the line's next
/// stop bit begins some bytes at a wrong place.
double StandsOut(const LineFeatures& line, const Doubled& doubled) {
    if (doubled.count == 0 || doubled.count == 7 || (doubled.start && line.bitSet[0] > kSeldom)) return 0;
    double least = 1;
    double most = 0;
    for (size_t pair = 0; pair < 7; ++pair) {
        if (doubled.pairs[pair]) {
            least = std::min(least, line.pairEqual[pair]);
        } else {
            most = std::max(most, line.pairEqual[pair]);
        }
    }
    const bool one = doubled.count == 1;
    if (one && doubled.pairs[6]) return 0;  // so do the last data bits of many streams
    if (least < (one ? kOneOften : kOften) || (one && line.shortRuns < kOneDoubledRuns)) return 0;
    return least - most >= (one ? kOneDoubledGap : kDoubledGap) ? least - most : 0;
}

std::optional<RateRatio> FromAlwaysDoubled(const LineFeatures& line) {
    std::optional<RateRatio> found;
    for (int step = 1; 1 + step * kStep <= kHighestRatio; ++step) {
        const double ratio = 1 + step * kStep;
        if (!AlwaysDoubled(line, DoubledAt(ratio))) continue;
        if (!found) found = RateRatio{ratio, ratio};
        found->highest = ratio;
    }
    return found;
}

std::optional<RateRatio> FromOftenDoubled(const LineFeatures& line) {
    if (line.shortRuns > kMostShortRuns) return std::nullopt;
    std::optional<RateRatio> found;
    double best = 0;
    for (int step = 1; 1 + step * kStep <= kHighestOften; ++step) {
        const double ratio = 1 + step * kStep;
        const double gap = StandsOut(line, DoubledAt(ratio));
        if (gap <= 0 || gap < best) continue;
        if (gap > best) found = RateRatio{ratio, ratio, false};
        found->highest = ratio;
        best = gap;
    }
    return found;
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
    Runs runs;
    for (unsigned value = 0; value < 256; ++value) {
        CountRuns(value, counts[value], runs);
        const double share = static_cast<double>(counts[value]) / total;
        for (unsigned bit = 0; double& set : line.bitSet) set += (value >> bit++ & 1U) != 0 ? share : 0;
        for (unsigned equals = ~(value ^ value >> 1); double& equal : line.pairEqual) {
            equal += (equals & 1U) != 0 ? share : 0;
            equals >>= 1;
        }
    }
    line.innerRuns = runs.all;
    if (runs.all > 0) {
        line.shortRuns = static_cast<double>(runs.oneBit) / static_cast<double>(runs.all);
        line.longRuns = static_cast<double>(runs.longer) / static_cast<double>(runs.all);
    }
    return line;
}

std::optional<RateRatio> EstimateTooFast(const LineFeatures& line) {
    const auto ratio = FromAlwaysDoubled(line);
    // Little doubled leaves half of the runs short: few short ones come from much doubled.
    const bool contradicts = ratio && ratio->highest < kFewShortRatio && line.shortRuns <= kFewShortRuns;
    if (ratio && !contradicts) return ratio;
    return SeemsLittleTooSlow(line) ? std::nullopt : FromOftenDoubled(line);
}

bool SeemsLittleTooSlow(const LineFeatures& line) {
    constexpr double kClearly = 0.02;
    constexpr double kFewestShortRuns =
        0.53;                            // a port a quarter too slow joins more bits than it leaves alone
    constexpr double kMostPairs = 0.60;  // the line's stop bit is high, the data bit before it as a rule low
    if (line.pairEqual[6] > kMostPairs) return false;
    const double others = *std::max_element(line.bitSet.begin() + 2, line.bitSet.begin() + 7);
    return line.bitSet[7] >= others + kClearly && line.shortRuns >= kFewestShortRuns;
}

}  // namespace Korr::Plim::Trace::Swo
