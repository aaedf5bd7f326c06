#pragma once

#include "trace/tpiu_alignment.h"
#include "trace/tpiu_deframer.h"

namespace Korr::Plim::Trace::Swo {

/// Frames were out of step: bytes were lost or added in the capture. [from, to) belongs to no frame.
struct FrameStep {
    uint64_t from = 0;
    uint64_t to = 0;
    unsigned phase = 0;  ///< by how much frames begin later than before, 1 to 15
};

/// From where on frames can be followed in the same way again.
struct FollowerState {
    DeframerState frames;
    uint64_t checkpoint = 0;  ///< the last one
    unsigned fruitless = 0;
};

/// Follows the frames of a capture: takes one stream out of them, and looks for the frames anew when they are
/// out of step, which shows in streams that were never seen, in a synchronisation at the wrong place, or, as
/// its user finds, in a stream that does not decode. However the capture is cut into blocks, the stream is
/// the same. Allocates nothing.
class FrameFollower {
  public:
    enum class Stop : uint8_t {
        Taken,       ///< all bytes
        Full,        ///< take the stream's bytes out
        Checkpoint,  ///< another kCheckpoint bytes of the capture: Assess the stream
        Slipped,     ///< frames were out of step, see LastStep; the stream goes on behind a gap
    };
    struct Result {
        size_t taken;
        Stop stop;
    };
    static constexpr uint64_t kCheckpoint = 256;
    /// So many bytes behind a doubt are looked at.
    static constexpr size_t kAhead = 1024;
    /// A doubt can go back by so many bytes.
    static constexpr size_t kBack = 2 * kCheckpoint;

    /// `from`: offset in the capture of the first byte fed, where a frame begins.
    FrameFollower(uint8_t stream, uint64_t from) : wanted(stream), begin(from), deframer(stream, from) {}

    void Expect(const std::bitset<kStreams>& streams) { deframer.Expect(streams); }
    Result Feed(std::span<const uint8_t> bytes, StreamBytes& out);
    /// The capture has ended: as Feed, until all is taken.
    Stop Finish(StreamBytes& out);
    /// After a checkpoint: whether the stream decodes well. If not, better frames are looked for.
    /// \param open where in the capture that stands from which on the stream has told nothing so far: what
    /// comes behind it may be taken anew out of other frames
    void Assess(bool fine, uint64_t open);

    /// Behind a checkpoint. None in doubt, and where the next frame may begin behind a synchronisation's
    /// half.
    std::optional<FollowerState> State() const;
    /// Instead of feeding anything: goes on from there.
    void Restore(const FollowerState& state);

    const FrameStep& LastStep() const { return step; }
    const TpiuDeframer& Deframer() const { return deframer; }

  private:
    Stop Replay(StreamBytes& out);
    size_t UntilCheckpoint() const {
        return static_cast<size_t>(kCheckpoint - deframer.Offset() % kCheckpoint);
    }
    Stop AfterFeed(TpiuDeframer::Stop stop, size_t taken);
    TpiuDeframer::Result Deframe(std::span<const uint8_t> bytes, StreamBytes& out);
    void Doubt(size_t back);
    bool Judge(StreamBytes& out);
    unsigned PhaseNow() const;
    PhaseScore BestAhead(unsigned now);

    const uint8_t wanted;
    uint64_t begin;           ///< offset of the first byte
    uint64_t checkpoint = 0;  ///< the last one
    TpiuDeframer deframer;
    FrameStep step{};
    bool doubtful = false;
    unsigned fruitless = 0;  ///< doubts that have found nothing better: the next one comes later
    size_t held = 0;         ///< bytes in `ahead`
    size_t replayed = 0;     ///< of which so many have been taken
    size_t back = 0;         ///< of the doubt: so many were taken before
    std::array<uint8_t, kBack + kAhead> ahead{};
    std::array<uint8_t, kBack> past{};  ///< the last bytes taken, by offset
    std::array<uint8_t, kAhead> scratch{};
};

}  // namespace Korr::Plim::Trace::Swo
