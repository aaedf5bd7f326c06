#include "trace/window_events.h"

#include <algorithm>
#include <numeric>

#include "trace/text_lines.h"

namespace Korr::Plim::Trace::Swo {

WindowEvents::WindowEvents(const WindowFrame& window, const ExceptionStack& stack, uint64_t position)
    : frame(window), bandwidth(window), exceptions(*this, stack, position) {}

bool WindowEvents::OnPacket(const Packet& packet, const PacketTime& time, const Standing& standing) {
    const uint64_t position = standing.Position(frame.timed);
    if (position >= frame.last) {
        bandwidth.EndAt(standing.place);
        return false;
    }
    hasText = standing.place >= textFrom;
    inside = position >= frame.first;
    now = frame.axis.At(position);
    place = packet.offset;
    flags = EventFlags(packet, time.quality);
    bandwidth.OnPacket(packet, standing, now, inside);
    exceptions.OnPacket(packet, position);
    TellTracks(packet, *this);
    return true;
}

WindowEvents::Events* WindowEvents::EventsOf(const Track& track) {
    const size_t row = RowOf(track);
    if (!inside || !frame.wanted[row]) return nullptr;
    if (!events[row]) events[row] = std::make_unique<Events>();
    return events[row].get();
}

void WindowEvents::Add(const Track& track, double value) {
    Events* const list = EventsOf(track);
    if (list == nullptr) return;
    list->time.push_back(now);
    list->value.push_back(value);
    list->offset.push_back(static_cast<double>(place));
    list->flags.push_back(flags);
}

void WindowEvents::OnPort(const Packet& packet) {
    if (frame.types.IsText(packet.source % kPorts)) return AddText(packet);
    OnValue({TrackKind::Port, packet.source}, packet);
}

void WindowEvents::OnValue(const Track& track, const Packet& packet) {
    if (const auto number = NumberOf(packet, frame.types.Of(track))) Add(track, *number);
}

void WindowEvents::OnCount(const Track& track) { Add(track, 1); }

void WindowEvents::OnPc(const Packet& packet) {
    Add({TrackKind::Pc, 0}, packet.kind == PacketKind::PcSample  ? packet.value
                            : packet.kind == PacketKind::PcSleep ? kPcAsleep
                                                                 : kPcHidden);
}

void WindowEvents::AddText(const Packet& packet) {
    if (!hasText) return;
    Events* const list = EventsOf({TrackKind::Port, packet.source});
    const TextBytes text = TextOf(packet);
    for (size_t i = 0; i < text.count; ++i) {
        const LineSplitter::Step step = lines[packet.source % kPorts].Take(text.bytes[i]);
        if (list == nullptr) continue;
        if (step.begins || (step.shown && list->start.empty())) {
            list->time.push_back(now);
            list->offset.push_back(static_cast<double>(place));
            list->start.push_back(static_cast<uint32_t>(list->bytes.size()));
            list->flags.push_back(0);
        }
        if (step.shown) list->bytes.push_back(text.bytes[i]);
        if (!list->flags.empty()) list->flags.back() |= flags;
    }
}

void WindowEvents::OnRun(const ExceptionRun& run) {
    AddRun({TrackKind::Nesting, 0}, run);
    if ((run.flags & kNothingKnown) == 0) AddRun({TrackKind::Exception, run.number}, run);
}

void WindowEvents::AddRun(const Track& track, const ExceptionRun& run) {
    const size_t row = RowOf(track);
    const bool overlaps = run.begin < frame.last && (run.end > frame.first || run.begin >= frame.first);
    if (!overlaps || !frame.wanted[row]) return;
    if (!runs[row]) runs[row] = std::make_unique<Runs>();
    Runs& list = *runs[row];
    uint8_t runFlags = run.flags;
    if (run.begin < frame.first) runFlags |= kBeganBefore;
    if (run.end > frame.last) runFlags |= kGoesOn;
    list.begin.push_back(std::max(frame.from, frame.axis.At(run.begin)));
    list.end.push_back(std::min(frame.to, frame.axis.At(run.end)));
    list.offset.push_back(static_cast<double>(run.offset));
    list.number.push_back(run.number);
    list.depth.push_back(static_cast<uint8_t>(std::min<uint16_t>(run.depth, UINT8_MAX)));
    list.flags.push_back(runFlags);
}

std::vector<NamedArray> WindowEvents::Arrays(TrackKind kind, bool text, Events&& list) {
    std::vector<NamedArray> arrays;
    arrays.push_back({"time", std::move(list.time)});
    arrays.push_back({"offset", std::move(list.offset)});
    if (text) {
        arrays.push_back({"start", std::move(list.start)});
        arrays.push_back({"bytes", std::move(list.bytes)});
    } else if (kind != TrackKind::Counter) {
        arrays.push_back({kind == TrackKind::Pc ? "pc" : "value", std::move(list.value)});
    }
    arrays.push_back({"flags", std::move(list.flags)});
    return arrays;
}

std::vector<NamedArray> WindowEvents::Arrays(TrackKind kind, const Runs& list) {
    std::vector<size_t> order(list.begin.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
        return list.begin[a] != list.begin[b] ? list.begin[a] < list.begin[b] : list.depth[a] < list.depth[b];
    });
    const auto sorted = [&order](const auto& column) {
        auto all = column;
        for (size_t i = 0; i < order.size(); ++i) all[i] = column[order[i]];
        return all;
    };
    std::vector<NamedArray> arrays;
    arrays.push_back({"begin", sorted(list.begin)});
    arrays.push_back({"end", sorted(list.end)});
    arrays.push_back({"offset", sorted(list.offset)});
    if (kind == TrackKind::Nesting) arrays.push_back({"number", sorted(list.number)});
    arrays.push_back({"depth", sorted(list.depth)});
    arrays.push_back({"flags", sorted(list.flags)});
    return arrays;
}

WindowAnswer WindowEvents::Finish(const WindowEnd& end) {
    bandwidth.EndAt(end.place);
    exceptions.Settle(std::min(end.position, frame.last));
    WindowAnswer answer;
    answer.exact = true;
    for (size_t row = 0; row < kTracks; ++row) {
        if (!frame.wanted[row]) continue;
        const Track track = TrackAt(row);
        if (track.kind == TrackKind::Bandwidth) answer.tracks.push_back({track, bandwidth.Take()});
        if (row < runs.size() && runs[row]) answer.tracks.push_back({track, Arrays(track.kind, *runs[row])});
        if (events[row]) {
            const bool text = track.kind == TrackKind::Port && frame.types.IsText(track.number);
            answer.tracks.push_back({track, Arrays(track.kind, text, std::move(*events[row]))});
        }
    }
    return answer;
}

}  // namespace Korr::Plim::Trace::Swo
