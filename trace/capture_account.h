#pragma once

#include <span>

#include "trace/capture_analysis.h"
#include "trace/frame_follower.h"
#include "trace/period_gaps.h"
#include "trace/recent_bytes.h"

namespace Korr::Plim::Trace::Swo {

/// Keeps the ledger of a capture and hands its packets on: the half of an analysis that comes behind decoding
/// and timing (CaptureFront).
class CaptureAccount {
  public:
    explicit CaptureAccount(const AnalysisOptions& wanted)
        : ledger({wanted.counterPort, wanted.waitForSync}), receiver(wanted.packets), states(wanted.states) {}

    /// What comes next comes of these bytes, and of those that were told before.
    void Begin(std::span<const uint8_t> piece) {
        recent.Add(piece);
        bytes += piece.size();
    }
    void OnPackets(std::span<const Packet> packets, const PacketTime& time, uint64_t missed) {
        for (const Packet& packet : packets) {
            ledger.OnPacket(packet, time);
            if (const uint64_t gone = periods.Take(packet, time)) ledger.OnPeriodGap(packet, time, gone);
        }
        if (missed > 0 && packets.back().kind == PacketKind::LocalTime) {
            ledger.OnGlobalGap(packets.back(), time, missed);
        }
        if (receiver != nullptr) receiver->OnPackets(packets, time);
    }
    void OnState(const AnalysisState& state) { states->OnState(state); }
    void OnFrameStep(const FrameStep& step) { ledger.OnFrameStep(step.from, step.to, step.phase); }
    /// All that comes of the bytes told so far, but for what is held back, has come.
    void End(const FrameProgress& frames) {
        ShowEntries(false);
        if (states != nullptr) states->OnPiece(bytes, frames);
    }
    /// There is nothing more.
    void Finish(const FrameProgress& frames) {
        ShowEntries(true);
        ledger.Finish();
        if (states != nullptr) states->OnPiece(bytes, frames);
    }
    /// Fills in the first bytes of entries. \param last no more bytes come
    void ShowEntries(bool last) {
        auto& entries = ledger.Entries();
        for (; shown < entries.size(); ++shown) {
            LedgerEntry& entry = entries[shown];
            if (!last && entry.offset + entry.bytes.size() > bytes) return;
            recent.Show(entry);
        }
    }

    uint64_t Bytes() const { return bytes; }
    const Ledger& Losses() const { return ledger; }
    Ledger& Losses() { return ledger; }

  private:
    Ledger ledger;
    RecentBytes recent;
    PeriodGaps periods;
    PacketReceiver* const receiver;
    StateReceiver* const states;
    uint64_t bytes = 0;
    size_t shown = 0;  ///< ledger entries that have their bytes
};

}  // namespace Korr::Plim::Trace::Swo
