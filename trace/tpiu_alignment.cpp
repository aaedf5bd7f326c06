#include "trace/tpiu_alignment.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace Korr::Plim::Trace::Swo {
namespace {

constexpr size_t kCommonest = 4;
/// A stream with a smaller share of the bytes is not taken for the ITM's, nor is any stream of a phase in
/// which the commonest streams have a smaller share than that.
constexpr double kLeastShare = 0.02;
constexpr double kLeastFrames = 0.5;

/// Calls frame(bytes) for each whole frame, and run as UnpackFrame does for what it carries.
template <class Run, class Frame>
void Unframe(std::span<const uint8_t> bytes, unsigned phase, Run&& run, Frame&& frame) {
    FrameAssembler assembler;
    uint8_t current = kNoStream;
    bytes = bytes.subspan(std::min<size_t>(phase, bytes.size()));
    while (!bytes.empty()) {
        const uint8_t* whole = nullptr;
        size_t taken = 1;
        if (assembler.AtStart() && !assembler.InSync() && bytes.size() >= kFrame && !HasSync(bytes.data())) {
            whole = bytes.data();
            taken = kFrame;
            assembler.Pass(whole[kFrame - 1]);
        } else if (assembler.Put(bytes[0], 0) == FrameAssembler::Got::Frame) {
            whole = assembler.Frame();
        }
        bytes = bytes.subspan(taken);
        if (whole == nullptr) continue;
        frame(whole);
        UnpackFrame(whole, current, run);
    }
}

void CountStreams(std::span<const uint8_t> bytes, PhaseScore& score) {
    uint64_t frames = 0;
    uint64_t numbersFirst = 0;
    Unframe(
        bytes, score.phase,
        [&](uint8_t of, const uint8_t*, size_t from, size_t to) { score.bytesOf[of] += to - from; },
        [&](const uint8_t* frame) {
            ++frames;
            numbersFirst += frame[0] & 1;
        });
    if (frames != 0) score.numbersFirst = static_cast<double>(numbersFirst) / static_cast<double>(frames);
    auto counts = score.bytesOf;
    score.bytes = std::accumulate(counts.begin(), counts.end(), uint64_t{0});
    if (score.bytes == 0) return;
    for (unsigned i = 0; i < kStreams; ++i) {
        if (counts[i] != 0) ++score.streams;
        if (IsReservedStream(static_cast<uint8_t>(i))) counts[i] = 0;
    }
    std::partial_sort(counts.begin(), counts.begin() + kCommonest, counts.end(), std::greater<>());
    const uint64_t common = std::accumulate(counts.begin(), counts.begin() + kCommonest, uint64_t{0});
    score.frames = static_cast<double>(common) / static_cast<double>(score.bytes);
}

/// Puts the bytes of all streams into `sorted`, one stream behind the other. Returns where each begins.
std::array<size_t, kStreams> SortByStream(std::span<const uint8_t> bytes, const PhaseScore& score,
                                          std::span<uint8_t> sorted) {
    std::array<size_t, kStreams> begins{};
    std::exclusive_scan(score.bytesOf.begin(), score.bytesOf.end(), begins.begin(), size_t{0});
    auto next = begins;
    Unframe(
        bytes, score.phase,
        [&](uint8_t of, const uint8_t* content, size_t from, size_t to) {
            std::copy(content + from, content + to, sorted.begin() + static_cast<std::ptrdiff_t>(next[of]));
            next[of] += to - from;
        },
        [](const uint8_t*) {});
    return begins;
}

bool IsFairShare(uint64_t bytes, const PhaseScore& score) {
    return bytes != 0 && static_cast<double>(bytes) >= kLeastShare * static_cast<double>(score.bytes);
}

bool IsSpecialStream(uint8_t stream) {
    return stream == kNullStream || stream == kFlushStream || stream == kTriggerStream;
}

bool MayBeItm(const PhaseScore& score, uint8_t stream) {
    return !IsSpecialStream(stream) && !IsReservedStream(stream) && IsFairShare(score.bytesOf[stream], score);
}

/// The phases that are not much worse than the best one, by the first of many bytes. All when none of them is
/// good.
std::bitset<kFrame> WorthwhilePhases(std::span<const uint8_t> bytes, std::optional<uint8_t> stream,
                                     std::span<uint8_t> scratch) {
    constexpr size_t kMany = 4096;
    constexpr double kGoodScore = 0.9;
    constexpr double kMuchWorse = 0.1;
    std::bitset<kFrame> worthwhile;
    if (bytes.size() <= kMany) return worthwhile.set();
    std::array<double, kFrame> scores{};
    for (unsigned phase = 0; phase < kFrame; ++phase) {
        scores[phase] = ScorePhase(bytes.first(kMany), phase, stream, scratch).Score();
    }
    const double best = *std::max_element(scores.begin(), scores.end());
    for (unsigned phase = 0; phase < kFrame; ++phase) {
        worthwhile[phase] = best < kGoodScore || scores[phase] >= best - kMuchWorse;
    }
    return worthwhile;
}

/// Of two phases that carry the same, the one with fewer streams, then the one whose frames begin with a
/// number: idle targets send packets in frames of their own.
bool Better(const PhaseScore& a, const PhaseScore& b) {
    constexpr double kPerStream = 0.001;
    constexpr double kPerNumber = 0.0005;
    const auto rank = [](const PhaseScore& score) {
        return score.Score() - kPerStream * score.streams + kPerNumber * score.numbersFirst;
    };
    return rank(a) > rank(b);
}

}  // namespace

std::bitset<kStreams> PhaseScore::CommonStreams() const {
    std::bitset<kStreams> common;
    for (uint8_t candidate = 0; const uint64_t carried : bytesOf) {
        common[candidate] =
            IsSpecialStream(candidate) || (!IsReservedStream(candidate) && IsFairShare(carried, *this));
        ++candidate;
    }
    return common;
}

PhaseScore ScorePhase(std::span<const uint8_t> bytes, unsigned phase, std::optional<uint8_t> stream,
                      std::span<uint8_t> scratch) {
    PhaseScore score;
    score.phase = phase;
    CountStreams(bytes, score);
    if (score.frames < kLeastFrames) return score;
    const auto begins = SortByStream(bytes, score, scratch);
    for (unsigned i = 0; i < kStreams; ++i) {
        if (score.bytesOf[i] == 0) continue;
        const auto candidate = static_cast<uint8_t>(i);
        if (stream ? candidate != *stream : !MayBeItm(score, candidate)) continue;
        const Validity itm = MeasureItm(scratch.subspan(begins[i], score.bytesOf[i]));
        const bool better = itm.Share() > score.itm.Share() ||
                            (itm.Share() == score.itm.Share() && itm.good > score.itm.good);
        if (!better) continue;
        score.itm = itm;
        score.stream = candidate;
    }
    return score;
}

Alignment AlignFrames(std::span<const uint8_t> bytes, std::optional<uint8_t> stream,
                      std::span<uint8_t> scratch) {
    const std::span<const uint8_t> looked = bytes.first(std::min(bytes.size(), kMostAligned));
    const std::bitset<kFrame> worthwhile = WorthwhilePhases(looked, stream, scratch);
    Alignment alignment;
    alignment.bytes = looked.size();
    bool any = false;
    for (unsigned phase = 0; phase < kFrame; ++phase) {
        if (!worthwhile[phase]) continue;
        const PhaseScore score = ScorePhase(looked, phase, stream, scratch);
        if (!std::exchange(any, true)) {
            alignment.best = score;
        } else if (Better(score, alignment.best)) {
            alignment.next = alignment.best.Score();
            alignment.best = score;
        } else {
            alignment.next = std::max(alignment.next, score.Score());
        }
    }
    return alignment;
}

}  // namespace Korr::Plim::Trace::Swo
