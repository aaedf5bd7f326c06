#pragma once

#include <deque>

#include "trace/capture_analysis.h"
#include "trace/port_look.h"
#include "trace/replay.h"
#include "trace/window_answer.h"

namespace Korr::Plim::Trace::Swo {

struct IndexOptions {
    AnalysisOptions analysis;  ///< without receivers
    PortFormats ports;         ///< as the user gives them
};

/// What is kept of a recording so that any part of it can be shown at once, while the capture itself stays
/// where it is. One thread at a time.
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
    bool Timed() const { return timed; }  ///< positions are ticks
    uint64_t Packets() const { return packets; }
    /// Packets that a track has in all; of bandwidth all.
    uint64_t PacketsOf(const Track& track) const { return totals[RowOf(track)]; }
    TrackTypes Types() const;
    /// The first position behind all packets.
    uint64_t EndPosition() const { return timed ? placer.Last().ticks + 1 : analysis.Bytes(); }

    /// To decode again what stands from a place of the capture on, or earlier.
    ReplayPlan PlanFrom(uint64_t place) const;

    // From TellTracks and ExceptionRuns.
    void OnPort(const Packet& packet);
    void OnValue(const Track& track, const Packet& packet);
    void OnCount(const Track& track) { ++totals[RowOf(track)]; }
    void OnPc(const Packet&) { ++totals[RowOf({TrackKind::Pc, 0})]; }
    void OnRun(const ExceptionRun&) {}
    void OnTop(uint16_t, uint16_t, uint64_t, uint64_t) {}
    void OnEntry(uint16_t) {}

  private:
    void OnPacket(const Packet& packet, const PacketTime& time) override;
    void OnState(const AnalysisState& state) override { pending.push_back(state); }
    void KeepCheckpoint();

    static constexpr uint64_t kPiece = 16384;               // bytes
    static constexpr uint64_t kBetweenCheckpoints = 65536;  // bytes

    IndexOptions options;
    CaptureAnalysis analysis;
    bool finished = false;
    bool timed = false;
    uint64_t packets = 0;
    PacketPlacer placer;
    ExceptionRuns<RecordingIndex> exceptions;
    std::array<uint64_t, kTracks> totals{};
    std::array<PortLook, kPorts> looks;
    std::array<uint8_t, 2 * kComparators> widest{};  ///< bytes of a data watch's values
    std::deque<AnalysisState> pending;               ///< checkpoints whose last packets are still held back
    std::deque<Checkpoint> checkpoints;
};

}  // namespace Korr::Plim::Trace::Swo
