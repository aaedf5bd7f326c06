#include "trace/frame_follower.h"

#include <algorithm>

namespace Korr::Plim::Trace::Swo {
namespace {

constexpr double kGood = 0.9;           // score of frames that are followed
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

/// Whether the frames were found elsewhere.
bool FrameFollower::Judge(StreamBytes& out) {
    doubtful = false;
    const auto bytes = std::span<const uint8_t>(ahead).first(held);
    const auto now = static_cast<unsigned>(deframer.ToNextFrame());
    const double followed = ScorePhase(bytes, now, wanted, scratch).Score();
    PhaseScore best;
    for (unsigned phase = 0; phase < kFrame; ++phase) {
        const PhaseScore score = ScorePhase(bytes, phase, wanted, scratch);
        if (score.Score() > best.Score()) best = score;
    }
    deframer.Trust(kTrusted << fruitless);
    if (best.Score() < kGood || best.Score() < followed + kMuchBetter) {
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
