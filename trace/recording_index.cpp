#include "trace/recording_index.h"

#include <algorithm>
#include <utility>

namespace Korr::Plim::Trace::Swo {

RecordingIndex::RecordingIndex(const IndexOptions& wanted)
    : options(wanted),
      analysis([this] {
          AnalysisOptions all = options.analysis;
          all.packets = this;
          all.states = this;
          return all;
      }()),
      summaries(wanted.ports) {}

void RecordingIndex::Feed(std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        const uint64_t at = analysis.Bytes();
        const auto piece = bytes.first(std::min<uint64_t>(bytes.size(), kPiece - at % kPiece));
        if ((at + piece.size()) % kBetweenCheckpoints == 0) analysis.WantState();
        analysis.Feed(piece);
        LookAtPadding();
        if ((at + piece.size()) % kBetweenLooks == 0) StayInBudget();
        bytes = bytes.subspan(piece.size());
    }
}

void RecordingIndex::Idle() { analysis.Idle(); }

void RecordingIndex::Finish() {
    analysis.Finish();
    LookAtPadding();
    summaries.Finish(placer.Last(), analysis.Bytes());
    finished = true;
}

void RecordingIndex::OnPacket(const Packet& packet, const PacketTime& time) {
    while (!pending.empty() && pending.front().packets == packets) KeepCheckpoint();
    ++packets;
    if (!timed && packet.kind == PacketKind::LocalTime) LookAtLocalTime(packet);
    summaries.OnPacket(packet, placer.Take(packet.offset, time));
}

/// What damage makes of a stream without timestamps may look like one.
void RecordingIndex::LookAtLocalTime(const Packet& packet) {
    if ((packet.flags & (kSuspect | kSalvaged)) != 0) return;
    if (++localTimes * kPacketsOfATimestamp < packets) return;
    timed = true;
    summaries.BecomeTimed();
}

/// Frames are taken apart ahead of the packets that come out of them.
void RecordingIndex::LookAtPadding() {
    const auto* const streams = analysis.BytesOfStreams();
    if (streams == nullptr) return;
    const uint64_t all = (*streams)[kNullStream];
    summaries.OnPadding(paddingUpTo, all - std::min(all, paddingSeen));
    paddingSeen = all;
    paddingUpTo = analysis.FramesUpTo();
}

void RecordingIndex::StayInBudget() {
    const size_t ofCheckpoints = checkpoints.size() * sizeof(Checkpoint);
    if (summaries.Bytes() + ofCheckpoints <= options.budget) return;
    summaries.Halve();
    for (size_t i = 0; 2 * i < checkpoints.size(); ++i) {
        if (i > 0) checkpoints[i] = std::move(checkpoints[2 * i]);
    }
    checkpoints.resize((checkpoints.size() + 1) / 2);
}

void RecordingIndex::KeepCheckpoint() {
    const AnalysisState& state = pending.front();
    checkpoints.push_back({state.decoding, state.timing, placer.Last(), summaries.Stack()});
    pending.pop_front();
}

ReplayPlan RecordingIndex::PlanFrom(uint64_t place, std::shared_ptr<const KnownPackets> known) const {
    ReplayPlan plan;
    plan.options = {options.analysis.framing, ItmOptions{!options.analysis.waitForSync}};
    plan.framing = analysis.FramingFound();
    plan.prescale = options.analysis.prescale;
    plan.end = analysis.FramingIsKnown() ? analysis.Bytes() : 0;
    plan.finished = finished;
    const auto after =
        std::upper_bound(checkpoints.begin(), checkpoints.end(), place,
                         [](uint64_t wanted, const Checkpoint& one) { return wanted < one.state.offset; });
    if (after != checkpoints.begin()) plan.from = *std::prev(after);
    plan.known = known ? std::move(known) : std::make_shared<KnownPackets>(analysis.Known());
    return plan;
}

}  // namespace Korr::Plim::Trace::Swo
