#include "trace/recording_index.h"

#include <algorithm>

namespace Korr::Plim::Trace::Swo {

RecordingIndex::RecordingIndex(const IndexOptions& wanted)
    : options(wanted),
      analysis([this] {
          AnalysisOptions all = options.analysis;
          all.packets = this;
          all.states = this;
          return all;
      }()),
      exceptions(*this) {}

void RecordingIndex::Feed(std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        const uint64_t at = analysis.Bytes();
        const auto piece = bytes.first(std::min<uint64_t>(bytes.size(), kPiece - at % kPiece));
        if ((at + piece.size()) % kBetweenCheckpoints == 0) analysis.WantState();
        analysis.Feed(piece);
        bytes = bytes.subspan(piece.size());
    }
}

void RecordingIndex::Idle() { analysis.Idle(); }

void RecordingIndex::Finish() {
    analysis.Finish();
    finished = true;
}

void RecordingIndex::OnPacket(const Packet& packet, const PacketTime& time) {
    while (!pending.empty() && pending.front().packets == packets) KeepCheckpoint();
    ++packets;
    if (!timed && time.quality != TimeQuality::None) {
        timed = true;
        exceptions.Rebase(0);
    }
    const uint64_t position = placer.Take(packet.offset, time).Position(timed);
    exceptions.OnPacket(packet, position);
    if (packet.kind == PacketKind::Exception) {
        ++totals[track_row::kNesting];
        if (packet.source != 0) ++totals[RowOf({TrackKind::Exception, packet.source})];
    }
    TellTracks(packet, *this);
}

void RecordingIndex::OnPort(const Packet& packet) {
    ++totals[RowOf({TrackKind::Port, packet.source})];
    looks[packet.source % kPorts].OnPacket(packet);
}

void RecordingIndex::OnValue(const Track& track, const Packet& packet) {
    ++totals[RowOf(track)];
    if (track.kind != TrackKind::WatchRead && track.kind != TrackKind::WatchWrite) return;
    uint8_t& most = widest[2 * track.number + (track.kind == TrackKind::WatchWrite ? 1 : 0)];
    most = std::max(most, packet.size);
}

void RecordingIndex::KeepCheckpoint() {
    const AnalysisState& state = pending.front();
    checkpoints.push_back({state.decoding, state.timing, placer.Last(), exceptions.Stack()});
    pending.pop_front();
}

TrackTypes RecordingIndex::Types() const {
    TrackTypes types;
    for (size_t port = 0; port < kPorts; ++port) {
        const auto given = options.ports.find(static_cast<uint8_t>(port));
        types.ports[port] = given != options.ports.end() ? given->second.type : looks[port].Type();
    }
    for (size_t i = 0; i < widest.size(); ++i) types.watches[i] = UnsignedOf(widest[i]);
    return types;
}

ReplayPlan RecordingIndex::PlanFrom(uint64_t place) const {
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
    plan.known = std::make_shared<KnownPackets>(analysis.Known());
    return plan;
}

}  // namespace Korr::Plim::Trace::Swo
