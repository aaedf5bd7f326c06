#pragma once

#include <deque>

#include "trace/capture_analysis.h"
#include "trace/recording_summaries.h"
#include "trace/replay.h"

namespace Korr::Plim::Trace::Swo {

struct IndexOptions {
    AnalysisOptions analysis;           ///< without receivers
    PortFormats ports;                  ///< as the user gives them
    size_t budget = size_t{192} << 20;  ///< bytes of memory; what is kept becomes coarser to stay below
};

/// What is kept of a recording so that any part of it can be shown at once, while the capture itself stays
/// where it is: summaries of its blocks, and places from which decoding can be taken up. One thread at a
/// time.
class RecordingIndex : private PacketReceiver, private StateReceiver {
  public:
    explicit RecordingIndex(const IndexOptions& wanted);

    /// The capture's next bytes, in pieces of any size.
    void Feed(std::span<const uint8_t> bytes);
    /// No bytes have come for a while: what they would have told is not waited for any more.
    void Idle();
    /// The capture has ended.
    void Finish();

    const CaptureAnalysis& Analysis() const { return analysis; }
    CaptureAnalysis& Analysis() { return analysis; }
    bool Finished() const { return finished; }
    /// Whether positions are ticks: local timestamps have come, one of so many packets until then. Once it
    /// is, it stays so, and earlier positions are ticks, too.
    bool Timed() const { return timed; }
    static constexpr uint64_t kPacketsOfATimestamp = 256;
    const RecordingSummaries& Summaries() const { return summaries; }
    /// Packets that a track has in all; of bandwidth all.
    uint64_t PacketsOf(const Track& track) const { return summaries.PacketsOf(track); }
    /// What is kept of the recording, in bytes of memory.
    size_t Bytes() const {
        return summaries.Bytes() + checkpointBytes + pending.size() * sizeof(AnalysisState);
    }
    /// The first position behind all packets.
    uint64_t EndPosition() const { return timed ? placer.Last().ticks + 1 : analysis.Bytes(); }

    /// To decode again what stands from a place of the capture on, or earlier. \param known of another plan
    /// made now; null: there is none
    ReplayPlan PlanFrom(uint64_t place, std::shared_ptr<const KnownPackets> known = nullptr) const;

  private:
    void OnPacket(const Packet& packet, const PacketTime& time) override { OnPackets({&packet, 1}, time); }
    void OnPackets(std::span<const Packet> more, const PacketTime& time) override;
    void OnState(const AnalysisState& state) override;
    void OnPiece(uint64_t bytes, const FrameProgress& frames) override;
    void ThinPending();
    void KeepCheckpoint();
    void LookAtLocalTime(const Packet& packet);
    void StayInBudget();

    static constexpr uint64_t kBetweenLooks = uint64_t{4} << 20;  // bytes
    static constexpr size_t kMostPending = 256;

    IndexOptions options;
    CaptureAnalysis analysis;
    bool finished = false;
    bool timed = false;
    uint64_t packets = 0;
    uint64_t checkpointAt = UINT64_MAX;  ///< packets, when the first of `pending` becomes one; it is no later
    uint64_t localTimes = 0;
    PacketPlacer placer;
    RecordingSummaries summaries;
    FrameProgress framesSeen;
    uint64_t lookedAt = 0;              ///< bytes of the capture when memory was looked at last
    std::deque<AnalysisState> pending;  ///< of which the packets before them were not all given yet
    uint64_t pendingStep = 1;           ///< of so many states one is kept, as long as many are pending
    uint64_t passedOver = 0;            ///< states since the last one that was kept
    std::deque<Checkpoint> checkpoints;
    size_t checkpointBytes = 0;  ///< of memory
};

}  // namespace Korr::Plim::Trace::Swo
