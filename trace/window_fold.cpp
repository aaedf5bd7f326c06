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
    hasText = standing.place >= textFrom;
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
    if (!hasText) return;
    const TextBytes text = TextOf(packet);
    uint32_t begun = 0;
    for (size_t i = 0; i < text.count; ++i) {
        if (lines[packet.source % kPorts].Take(text.bytes[i]).begins) ++begun;
    }
    if (inside && frame.Wants(track)) columns.Add(track, now, now, text.count, begun);
}

void WindowFold::OnValue(const Track& track, const Packet& packet) {
    if (!counts || !frame.Wants(track)) return;
    if (const auto value = OrderedOf(packet, frame.types.Of(track))) {
        columns.Add(track, now, now, ValueCell::Of(*value));
    }
}

void WindowFold::OnCount(const Track& track) {
    if (counts && frame.Wants(track)) columns.Add(track, now, now, 1, 0);
}

void WindowFold::OnPc(const Packet& packet) {
    const bool asleep = packet.kind == PacketKind::PcSleep;
    if (!counts || packet.kind == PacketKind::PcProhibited || !frame.Wants({TrackKind::Pc, 0})) return;
    columns.Add({TrackKind::Pc, 0}, now, now, asleep ? 0 : 1, asleep ? 1 : 0);
}

void WindowFold::OnRun(const ExceptionRun& run) {
    if (!wantsExceptions || (run.flags & kNothingKnown) != 0) return;
    columns.AddException(run.number, frame.axis.At(run.begin), frame.axis.At(run.end), {0, 1, 0, 0});
}

void WindowFold::OnTop(uint16_t number, uint16_t depth, uint64_t begin, uint64_t end) {
    if (!wantsExceptions) return;
    columns.AddException(number, frame.axis.At(begin), frame.axis.At(end),
                         {0, 0, 1, static_cast<uint8_t>(std::min<uint16_t>(depth, UINT8_MAX))});
}

void WindowFold::OnEntry(uint16_t number) {
    if (inside && wantsExceptions) columns.AddException(number, now, now, {1, 0, 0, 0});
}

WindowAnswer WindowFold::Finish(const WindowEnd& end) {
    columns.Bandwidth().EndAt(end.place);
    exceptions.Settle(std::min(end.position, frame.last));
    return columns.Take();
}

}  // namespace Korr::Plim::Trace::Swo
