#include "trace/window_fold.h"

#include "trace/ordered_value.h"
#include "trace/text_lines.h"

namespace Korr::Plim::Trace::Swo {

bool WindowFold::OnPacket(const Packet& packet, const PacketTime&, const Standing& standing) {
    const uint64_t position = standing.Position(frame.timed);
    if (position >= frame.last) {
        columns.Bandwidth().EndAt(standing.place);
        return false;
    }
    inside = position >= frame.first;
    counts = inside && (packet.flags & kSuspect) == 0;
    now = frame.axis.At(position);
    columns.Bandwidth().OnPacket(packet, standing, now, inside);
    exceptions.OnPacket(packet, position);
    TellTracks(packet, *this);
    return true;
}

void WindowFold::OnPort(const Packet& packet) {
    const Track track{TrackKind::Port, packet.source};
    if (!frame.types.IsText(packet.source % kPorts)) return OnValue(track, packet);
    const TextBytes text = TextOf(packet);
    uint32_t begun = 0;
    for (size_t i = 0; i < text.count; ++i) {
        if (lines[packet.source % kPorts].Take(text.bytes[i]).begins) ++begun;
    }
    if (inside && Wants(track)) columns.Add(track, now, now, text.count, begun);
}

void WindowFold::OnValue(const Track& track, const Packet& packet) {
    if (!counts || !Wants(track)) return;
    if (const auto value = OrderedOf(packet, frame.types.Of(track))) {
        columns.Add(track, now, now, ValueCell::Of(*value));
    }
}

void WindowFold::OnCount(const Track& track) {
    if (counts && Wants(track)) columns.Add(track, now, now, 1, 0);
}

void WindowFold::OnPc(const Packet& packet) {
    const bool asleep = packet.kind == PacketKind::PcSleep;
    if (!counts || packet.kind == PacketKind::PcProhibited || !Wants({TrackKind::Pc, 0})) return;
    columns.Add({TrackKind::Pc, 0}, now, now, asleep ? 0 : 1, asleep ? 1 : 0);
}

void WindowFold::OnRun(const ExceptionRun& run) {
    if ((run.flags & kNothingKnown) != 0) return;
    columns.AddException(run.number, frame.axis.At(run.begin), frame.axis.At(run.end), {0, 1, 0, 0});
}

void WindowFold::OnTop(uint16_t number, uint16_t depth, uint64_t begin, uint64_t end) {
    columns.AddException(number, frame.axis.At(begin), frame.axis.At(end),
                         {0, 0, 1, static_cast<uint8_t>(std::min<uint16_t>(depth, UINT8_MAX))});
}

void WindowFold::OnEntry(uint16_t number) {
    if (inside) columns.AddException(number, now, now, {1, 0, 0, 0});
}

WindowAnswer WindowFold::Finish(uint64_t end) {
    exceptions.Settle(std::min(end, frame.last));
    return columns.Take();
}

}  // namespace Korr::Plim::Trace::Swo
