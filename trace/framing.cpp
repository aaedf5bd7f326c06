#include "trace/framing.h"

#include <algorithm>

namespace Korr::Plim::Trace::Swo {
namespace {

/// Bytes at which is looked whether it is clear already: an ITM stream can be so from the first of them on,
/// frames from kFirstLookAtFrames on. Each next look is at four times as many.
constexpr size_t kFirstLook = 64;
constexpr size_t kFirstLookAtFrames = 4096;
constexpr size_t kLooksGrow = 4;
/// So many bytes show where the first frame begins.
constexpr size_t kFirst = 1024;

/// Frames taken for an ITM stream are valid up to 0.8, the wrong way to read frames up to some 0.97 of the
/// right one.
constexpr double kClearFew = 0.99;
constexpr double kClear = 0.95;
constexpr double kClearFrames = 0.98;
constexpr double kClearDistance = 0.02;
constexpr double kFramesBetter = 0.1;

}  // namespace

FramingFinder::FramingFinder(const FramingOptions& given) : options(given), nextLook(kFirstLook) {
    if (options.kind == FramingKind::Itm) {
        decided = true;
        return;
    }
    head = std::make_unique<uint8_t[]>(kMostAligned);
    scratch = std::make_unique<uint8_t[]>(kMostAligned);
}

size_t FramingFinder::Feed(std::span<const uint8_t> bytes) {
    size_t taken = 0;
    while (!decided && taken < bytes.size()) {
        const size_t more = std::min(bytes.size() - taken, nextLook - held);
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(taken), more, head.get() + held);
        held += more;
        taken += more;
        if (held < nextLook) break;
        Look(held == kMostAligned);
        nextLook *= kLooksGrow;
    }
    return taken;
}

void FramingFinder::Decide() {
    if (!decided) Look(true);
}

void FramingFinder::Look(bool last) {
    found.raw = MeasureItm(Head());
    if (options.kind == FramingKind::Auto && LooksLikeItm(last)) {
        decided = true;
        return;
    }
    if (!last && held < kFirstLookAtFrames) return;
    found.alignment = AlignFrames(Head(), options.stream, Scratch());
    const double frames = found.alignment.best.Score();
    const bool better = options.kind == FramingKind::Tpiu || frames > found.raw.Share() + kFramesBetter;
    const bool apart =
        frames >= found.alignment.next + kClearDistance || held >= kFirstLookAtFrames * kLooksGrow;
    const bool clear = frames >= kClearFrames && apart;
    decided = last || (better && clear);
    if (!decided) return;
    found.framed = better;
    found.stream = options.stream.value_or(found.alignment.best.stream);
    found.first = ScoreFirst();
}

/// The bytes as a whole may be in another phase than the first of them: some may be missing in between.
PhaseScore FramingFinder::ScoreFirst() {
    const PhaseScore& whole = found.alignment.best;
    PhaseScore best = ScorePhase(Head().first(std::min(held, kFirst)), whole.phase, found.stream, Scratch());
    for (unsigned phase = 0; phase < kFrame; ++phase) {
        const PhaseScore score =
            ScorePhase(Head().first(std::min(held, kFirst)), phase, found.stream, Scratch());
        if (score.Score() > best.Score() + kClearDistance) best = score;
    }
    return best;
}

bool FramingFinder::LooksLikeItm(bool last) const {
    return found.raw.Share() >= (held < kFirstLookAtFrames && !last ? kClearFew : kClear);
}

}  // namespace Korr::Plim::Trace::Swo
