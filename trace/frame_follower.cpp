#include "trace/frame_follower.h"

#include <algorithm>

namespace Korr::Plim::Trace::Swo {
namespace {

constexpr double kGood = 0.9;  // score of frames that are followed
constexpr double kVeryGood = 0.98;
constexpr uint64_t kFew = 16;           // bytes of a stream that do not show whether it decodes
constexpr double kMuchBetter = 0.02;    // than those followed so far
constexpr unsigned kMostPatience = 10;  // doublings of the frames that are trusted after a fruitless doubt
/// The next frame begins at one of so many places: half synchronisations may stand in the rest of this one.
constexpr unsigned kPlaces = kFrame + 6;
constexpr uint64_t kTrusted = FrameFollower::kAhead / kFrame;

}  // namespace

FrameFollower::Result FrameFollower::Feed(std::span<const uint8_t> bytes, StreamBytes& out) {
    size_t taken = 0;
    for (;;) {
        if (doubtful) {
            const size_t more = std::min(bytes.size() - taken, kAhead - std::min(kAhead, held));
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
        const TpiuDeframer::Result result = Deframe(bytes.subspan(taken, more), out);
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
            Deframe(std::span<const uint8_t>(ahead).subspan(replayed, more), out);
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
            Doubt(0);
            return Stop::Taken;
        case TpiuDeframer::Stop::Realigned:
            step = {deframer.RealignedFrom(), deframer.Offset(),
                    static_cast<unsigned>((deframer.Offset() - deframer.RealignedFrom()) % kFrame)};
            return Stop::Slipped;
        default:
            break;
    }
    const uint64_t offset = deframer.Offset();
    if (taken == 0 || offset % kCheckpoint != 0 || offset == checkpoint) return Stop::Taken;
    checkpoint = offset;
    return Stop::Checkpoint;
}

/// Not across a checkpoint.
TpiuDeframer::Result FrameFollower::Deframe(std::span<const uint8_t> bytes, StreamBytes& out) {
    const auto place = static_cast<size_t>(deframer.Offset() % kBack);
    const TpiuDeframer::Result result = deframer.Feed(bytes, out);
    std::copy_n(bytes.begin(), result.taken, past.begin() + static_cast<std::ptrdiff_t>(place));
    return result;
}

void FrameFollower::Assess(bool fine, uint64_t open) {
    const uint64_t taken =
        std::max<uint64_t>(begin, deframer.Offset() - std::min(deframer.Offset(), uint64_t{kBack}));
    if (!fine && deframer.Trusted() == 0) {
        return Doubt(static_cast<size_t>(deframer.Offset() - std::clamp(open, taken, deframer.Offset())));
    }
    if (fine && fruitless > 0) --fruitless;
}

std::optional<FollowerState> FrameFollower::State() const {
    const auto frames = deframer.State();
    if (!frames || doubtful || frames->offset <= begin) return std::nullopt;
    if (past[(frames->offset - 1) % kBack] == 0xFF) return std::nullopt;
    return FollowerState{*frames, checkpoint, fruitless};
}

void FrameFollower::Restore(const FollowerState& state) {
    deframer.Restore(state.frames);
    begin = state.frames.offset;
    checkpoint = state.checkpoint;
    fruitless = state.fruitless;
}

void FrameFollower::Doubt(size_t bytesBack) {
    back = bytesBack;
    std::copy(ahead.begin() + static_cast<std::ptrdiff_t>(replayed),
              ahead.begin() + static_cast<std::ptrdiff_t>(held), ahead.begin());
    held -= replayed;
    std::copy_backward(ahead.begin(), ahead.begin() + static_cast<std::ptrdiff_t>(held),
                       ahead.begin() + static_cast<std::ptrdiff_t>(held + back));
    for (size_t i = 0; i < back; ++i) ahead[i] = past[(deframer.Offset() - back + i) % kBack];
    held += back;
    replayed = 0;
    doubtful = true;
}

/// Where in `ahead` the first frame begins, as frames are followed now.
unsigned FrameFollower::PhaseNow() const {
    for (unsigned phase = 0; phase < kPlaces; ++phase) {
        FrameAssembler frames;
        for (size_t i = phase; i < back; ++i) frames.Put(ahead[i], 0);
        const size_t next = phase < back ? (kFrame - frames.Filled() % kFrame) % kFrame : phase - back;
        if (next == deframer.ToNextFrame()) return phase;
    }
    return 0;
}

/// The phase of what comes next. The one that is followed when no other one is good, and better; what comes
/// first counts first, for bytes may be missing once more behind it.
PhaseScore FrameFollower::BestAhead(unsigned now) {
    const auto bytes = std::span<const uint8_t>(ahead).first(std::min(held, kAhead));
    const PhaseScore next = ScorePhase(bytes.first(std::min(bytes.size(), kAhead / 4)), now, wanted, scratch);
    PhaseScore best = ScorePhase(bytes, now, wanted, scratch);
    const bool few = next.itm.all != 0 && next.itm.all < kFew;
    if (next.frames >= kVeryGood && (few || next.itm.Share() >= kVeryGood)) return best;
    double wantedScore = std::max(kGood, best.Score() + kMuchBetter);
    for (unsigned phase = 0; phase < kPlaces; ++phase) {
        if (phase == kFrame) wantedScore = std::max(wantedScore, best.Score() + kMuchBetter);
        const PhaseScore score = ScorePhase(bytes, phase, wanted, scratch);
        if (score.Score() >= wantedScore && score.Score() > best.Score()) best = score;
    }
    return best;
}

/// Whether the frames were found elsewhere.
bool FrameFollower::Judge(StreamBytes& out) {
    doubtful = false;
    const unsigned now = PhaseNow();
    const PhaseScore best = BestAhead(now);
    deframer.Trust(kTrusted << fruitless);
    if (best.phase == now) {
        fruitless = std::min(fruitless + 1, kMostPatience);
        replayed = back;
        deframer.Accept(out);
        return false;
    }
    fruitless = 0;
    step.to = deframer.Offset() - back + best.phase;
    step.from = deframer.Reject(back, best.phase);
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
