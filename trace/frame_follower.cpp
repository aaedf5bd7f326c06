#include "trace/frame_follower.h"

#include <algorithm>

namespace Korr::Plim::Trace::Swo {
namespace {

constexpr double kGood = 0.9;  // score of frames that are followed
constexpr double kVeryGood = 0.98;
constexpr uint64_t kFew = 16;           // bytes of a stream that do not show whether it decodes
constexpr double kMuchBetter = 0.02;    // than those followed so far
constexpr unsigned kMostPatience = 10;  // doublings of the frames that are trusted after a fruitless doubt
constexpr uint64_t kTrusted = FrameFollower::kAhead / kFrame;

}  // namespace

FrameFollower::Result FrameFollower::Feed(std::span<const uint8_t> bytes, StreamBytes& out) {
    size_t taken = 0;
    for (;;) {
        if (doubtful) {
            const size_t more = std::min(bytes.size() - taken, kAhead - held);
            std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(taken), more,
                        ahead.begin() + static_cast<std::ptrdiff_t>(held));
            held += more;
            taken += more;
            if (held < kAhead) return {taken, Stop::Taken};
            if (Judge(out)) return {taken, Stop::Slipped};
        }
        if (held != 0) {
            const Stop stop = Replay(out);
            if (stop != Stop::Taken) return {taken, stop};
            continue;
        }
        if (taken == bytes.size()) return {taken, Stop::Taken};
        const size_t more = std::min(bytes.size() - taken, UntilCheckpoint());
        const TpiuDeframer::Result result = deframer.Feed(bytes.subspan(taken, more), out);
        taken += result.taken;
        const Stop stop = AfterFeed(result.stop, result.taken);
        if (stop != Stop::Taken) return {taken, stop};
    }
}

/// Takes what was held back; Taken also when there is a new doubt.
FrameFollower::Stop FrameFollower::Replay(StreamBytes& out) {
    while (replayed < held && !doubtful) {
        const size_t more = std::min(held - replayed, UntilCheckpoint());
        const TpiuDeframer::Result result =
            deframer.Feed(std::span<const uint8_t>(ahead).subspan(replayed, more), out);
        replayed += result.taken;
        const Stop stop = AfterFeed(result.stop, result.taken);
        if (stop != Stop::Taken) return stop;
    }
    if (!doubtful) held = replayed = 0;
    return Stop::Taken;
}

FrameFollower::Stop FrameFollower::AfterFeed(TpiuDeframer::Stop stop, size_t taken) {
    switch (stop) {
        case TpiuDeframer::Stop::Full:
            return Stop::Full;
        case TpiuDeframer::Stop::Question:
            Doubt();
            return Stop::Taken;
        case TpiuDeframer::Stop::Realigned:
            step = {deframer.RealignedFrom(), deframer.Offset(),
                    static_cast<unsigned>((deframer.Offset() - deframer.RealignedFrom()) % kFrame)};
            return Stop::Slipped;
        default:
            break;
    }
    return taken != 0 && deframer.Offset() % kCheckpoint == 0 ? Stop::Checkpoint : Stop::Taken;
}

void FrameFollower::Assess(bool fine) {
    if (!fine && deframer.Trusted() == 0) return Doubt();
    if (fine && fruitless > 0) --fruitless;
}

void FrameFollower::Doubt() {
    std::copy(ahead.begin() + static_cast<std::ptrdiff_t>(replayed),
              ahead.begin() + static_cast<std::ptrdiff_t>(held), ahead.begin());
    held -= replayed;
    replayed = 0;
    doubtful = true;
}

/// The phase of what comes next. The one that is followed when no other one is good, and better; what comes
/// first counts first, for bytes may be missing once more behind it.
PhaseScore FrameFollower::BestAhead() {
    const auto bytes = std::span<const uint8_t>(ahead).first(held);
    const auto now = static_cast<unsigned>(deframer.ToNextFrame());
    const PhaseScore next = ScorePhase(bytes.first(std::min(held, kAhead / 4)), now, wanted, scratch);
    PhaseScore best = ScorePhase(bytes, now, wanted, scratch);
    const bool few = next.itm.all != 0 && next.itm.all < kFew;
    if (next.frames >= kVeryGood && (few || next.itm.Share() >= kVeryGood)) return best;
    const double wantedScore = std::max(kGood, best.Score() + kMuchBetter);
    for (unsigned phase = 0; phase < kFrame; ++phase) {
        const PhaseScore score = ScorePhase(bytes, phase, wanted, scratch);
        if (score.Score() >= std::max(wantedScore, best.Score())) best = score;
    }
    return best;
}

/// Whether the frames were found elsewhere.
bool FrameFollower::Judge(StreamBytes& out) {
    doubtful = false;
    const PhaseScore best = BestAhead();
    deframer.Trust(kTrusted << fruitless);
    if (best.phase == deframer.ToNextFrame()) {
        fruitless = std::min(fruitless + 1, kMostPatience);
        deframer.Accept(out);
        return false;
    }
    fruitless = 0;
    step.to = deframer.Offset() + best.phase;
    step.from = deframer.Reject(best.phase);
    step.phase = static_cast<unsigned>((step.to - step.from) % kFrame);
    return true;
}

FrameFollower::Stop FrameFollower::Finish(StreamBytes& out) {
    if (doubtful && Judge(out)) return Stop::Slipped;
    while (held != 0) {
        const Stop stop = Replay(out);
        if (stop != Stop::Taken) return stop;
        if (doubtful && Judge(out)) return Stop::Slipped;
    }
    return Stop::Taken;
}

}  // namespace Korr::Plim::Trace::Swo
