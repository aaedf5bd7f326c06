#include "trace/recording_index.h"

#include <algorithm>
#include <utility>

namespace Korr::Plim::Trace::Swo {

namespace {

size_t BytesOf(const Checkpoint& checkpoint) {
    return sizeof(checkpoint) + checkpoint.exceptions.running.capacity() * sizeof(ActiveException);
}

}  // namespace

RecordingIndex::RecordingIndex(const IndexOptions& wanted)
    : options(wanted),
      analysis([this] {
          AnalysisOptions all = options.analysis;
          all.packets = this;
          all.states = this;
          return all;
      }()),
      summaries(wanted.ports, wanted.budget) {}

void RecordingIndex::Feed(std::span<const uint8_t> bytes) { analysis.Feed(bytes); }

void RecordingIndex::Idle() { analysis.Idle(); }

void RecordingIndex::Finish() {
    analysis.Finish();
    summaries.Finish(placer.Last(), analysis.Bytes());
    finished = true;
}

void RecordingIndex::OnPackets(std::span<const Packet> more, const PacketTime& time) {
    for (const Packet& packet : more) {
        while (packets == checkpointAt) KeepCheckpoint();
        ++packets;
        if (!timed && packet.kind == PacketKind::LocalTime) LookAtLocalTime(packet);
        summaries.OnPacket(packet, placer.Take(packet.offset, time));
    }
}

/// What damage makes of a stream without timestamps may look like one.
void RecordingIndex::LookAtLocalTime(const Packet& packet) {
    if ((packet.flags & (kSuspect | kSalvaged)) != 0) return;
    if (++localTimes * kPacketsOfATimestamp < packets) return;
    timed = true;
    summaries.BecomeTimed();
}

/// Where no packets come none of them becomes a checkpoint: of many fewer are kept, further apart.
void RecordingIndex::OnState(const AnalysisState& state) {
    if (++passedOver < pendingStep) return;
    passedOver = 0;
    pending.push_back(state);
    if (pending.size() == kMostPending) ThinPending();
    checkpointAt = pending.front().packets;
}

void RecordingIndex::ThinPending() {
    for (size_t i = 0; 2 * i + 1 < pending.size(); ++i) pending[i] = pending[2 * i + 1];
    pending.resize(pending.size() / 2);
    pendingStep *= 2;
}

void RecordingIndex::KeepCheckpoint() {
    const AnalysisState& state = pending.front();
    checkpoints.push_back({state.decoding, state.timing, placer.Last(), summaries.Stack()});
    checkpointBytes += BytesOf(checkpoints.back());
    pending.pop_front();
    checkpointAt = pending.empty() ? UINT64_MAX : pending.front().packets;
    if (pending.size() < kMostPending / 4 && pendingStep > 1) pendingStep /= 2;
}

/// Frames are taken apart ahead of the packets that come out of them.
void RecordingIndex::OnPiece(uint64_t bytes, const FrameProgress& frames) {
    summaries.OnPadding(framesSeen.upTo, frames.padding - std::min(frames.padding, framesSeen.padding));
    framesSeen = frames;
    if (bytes % kBetweenLooks != 0 || bytes == lookedAt) return;
    lookedAt = bytes;
    StayInBudget();
}

void RecordingIndex::StayInBudget() {
    if (Bytes() <= options.budget) return;
    summaries.Halve();
    for (size_t i = 0; 2 * i < checkpoints.size(); ++i) {
        if (i > 0) checkpoints[i] = std::move(checkpoints[2 * i]);
    }
    checkpoints.resize((checkpoints.size() + 1) / 2);
    checkpointBytes = 0;
    for (const Checkpoint& one : checkpoints) checkpointBytes += BytesOf(one);
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
