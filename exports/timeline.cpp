#include "exports/timeline.h"

#include <algorithm>

namespace Korr::Plim::Trace::Exports {

using Swo::LossKind;
using Swo::Packet;
using Swo::PacketKind;
using Swo::PacketTime;
using Swo::TimeQuality;

namespace {

/// Whether packets tell of it where it was.
bool IsTold(LossKind kind) {
    switch (kind) {
        case LossKind::ItmOverflow:
        case LossKind::TimestampOverflow:
        case LossKind::Malformed:
        case LossKind::Reserved:
        case LossKind::Unsynchronised:
        case LossKind::TruncatedEnd:
            return true;
        default:
            return false;
    }
}

}  // namespace

void Timeline::Begin(const CaptureFacts& captureFacts) {
    facts = &captureFacts;
    axis = Axis{};
    held.clear();
    decided = begun = cutBefore = cutBehind = false;
    last = 0;
    places.clear();
    placeStride = 1;
    exceptions = Swo::ExceptionTimeline{};
    isText.fill(true);
    if (facts->ports == nullptr) return;
    for (const auto& [port, format] : *facts->ports) isText[port] = format.type == Swo::PortType::Text;
}

void Timeline::OnPacket(const Packet& packet, const PacketTime& time) {
    if (decided) return Show(packet, time);
    const bool timed = time.quality != TimeQuality::None;
    if (!timed && held.size() < kMostHeld) {
        held.push_back({packet, time});
        return;
    }
    Decide(timed);
    Show(packet, time);
}

/// What ran before is shown where the first packet is wanted.
void Timeline::Pass(const Packet& packet) {
    const bool before = !begun && held.empty();
    (before ? cutBefore : cutBehind) = true;
    if (before) exceptions.OnPacket(packet);
}

void Timeline::End(const Swo::Ledger& losses) {
    if (!decided) Decide(false);
    for (std::size_t port = 0; port < lines.size(); ++port) {
        if (lines[port]) EndLine(static_cast<uint8_t>(port), *lines[port]);
    }
    ShowLosses(losses);
    sink.OnEnd(last);
}

void Timeline::Decide(bool timed) {
    decided = true;
    if (timed) {
        axis.kind = Axis::Kind::Timestamps;
        if (facts->scale.clockHz > 0) {
            axis.perSecond = facts->scale.clockHz;
            axis.explained = "times are the target's timestamps";
        } else {
            axis.explained = "the trace clock is not known: a nanosecond stands for a tick of the timestamps";
        }
    } else if (facts->placeTime) {
        axis.kind = facts->arrival ? Axis::Kind::Arrival : Axis::Kind::Line;
        axis.explained = "no timestamps: " + facts->placeExplained;
    } else {
        axis.explained = "no timestamps, and the line's rate is not known: a nanosecond stands for a byte";
    }
    sink.OnBegin(*facts, axis);
    for (const Held& each : held) Show(each.packet, each.time);
    held.clear();
    held.shrink_to_fit();
}

uint64_t Timeline::Units(uint64_t offset, uint64_t ticks) const {
    switch (axis.kind) {
        case Axis::Kind::Timestamps:
            return facts->scale.clockHz > 0 ? ticks * facts->scale.prescale : ticks;
        case Axis::Kind::Bytes:
            return offset - facts->base;
        default:
            return facts->placeTime(offset - facts->base);
    }
}

Moment Timeline::At(uint64_t offset, const PacketTime& time, uint8_t flags) {
    const bool fromTarget = axis.kind == Axis::Kind::Timestamps;
    last = std::max(last, Units(offset, time.ticks));
    Moment moment{last, last, offset, fromTarget ? time.quality : TimeQuality::None, flags};
    if (moment.quality == TimeQuality::Bounded) {
        moment.earliest = std::min(last, Units(offset, time.earliest));
    }
    return moment;
}

void Timeline::Show(const Packet& packet, const PacketTime& time) {
    const Moment moment = At(packet.offset, time, packet.flags);
    if (!begun) {
        begun = true;
        firstOffset = packet.offset;
        ShowRunning(moment);
    }
    lastOffset = packet.offset;
    if (places.empty() || packet.offset - places.back().offset >= placeStride) KeepPlace(packet.offset);
    sink.OnPacket(packet, moment);
    if (packet.kind == PacketKind::Stimulus) return ShowText(packet, moment);
    const bool mayChange = packet.kind == PacketKind::Exception || packet.kind == PacketKind::Overflow ||
                           Swo::IsDamage(packet.kind);
    if (mayChange) ShowException(packet, moment);
}

void Timeline::ShowText(const Packet& packet, const Moment& moment) {
    const auto port = static_cast<uint8_t>(packet.source);
    if (!isText[port]) return;
    if (!lines[port]) lines[port] = std::make_unique<Line>();
    Line& line = *lines[port];
    for (int i = 0; i < packet.size; ++i) {
        const char byte = static_cast<char>(packet.value >> 8 * i);
        if (line.size == 0) line.begin = moment;
        if (byte == '\n') {
            if (line.size > 0 && line.text[line.size - 1] == '\r') --line.size;
            EndLine(port, line);
            continue;
        }
        line.begin.flags |= moment.flags & (Swo::kSuspect | Swo::kSalvaged);
        line.text[line.size++] = byte;
        if (line.size == kLongestLine) EndLine(port, line);
    }
}

void Timeline::EndLine(uint8_t port, Line& line) {
    if (line.size > 0) sink.OnLine(port, {line.text.data(), line.size}, line.begin, last);
    line.size = 0;
}

void Timeline::ShowException(const Packet& packet, const Moment& moment) {
    for (const auto& event : exceptions.OnPacket(packet)) sink.OnException(event, moment);
}

void Timeline::ShowRunning(const Moment& moment) {
    using Change = Swo::ExceptionTimeline::Change;
    if (!exceptions.Known() && exceptions.Running().empty()) {
        sink.OnException({Change::Unknown, 0, 0}, moment);
    }
    uint16_t depth = 0;
    for (const uint16_t number : exceptions.Running()) {
        sink.OnException({Change::Resume, number, depth++}, moment);
    }
}

/// When there are too many, every other one is kept from then on.
void Timeline::KeepPlace(uint64_t offset) {
    places.push_back({offset, last});
    if (places.size() < kMostPlaces) return;
    placeStride *= 2;
    std::size_t kept = 0;
    for (std::size_t i = 0; i < places.size(); i += 2) places[kept++] = places[i];
    places.resize(kept);
}

uint64_t Timeline::TimeAt(uint64_t offset) const {
    const auto behind = std::upper_bound(places.begin(), places.end(), offset,
                                         [](uint64_t at, const Place& place) { return at < place.offset; });
    return behind == places.end() ? last : behind->time;
}

bool Timeline::IsShown(uint64_t offset) const {
    if (!begun) return !cutBefore;
    return (!cutBefore || offset >= firstOffset) && (!cutBehind || offset <= lastOffset);
}

void Timeline::ShowLosses(const Swo::Ledger& losses) {
    for (const Swo::LedgerEntry& entry : losses.Entries()) {
        const uint64_t offset = entry.offset + facts->base;
        if (IsTold(entry.kind) || !IsShown(offset)) continue;
        const bool timed = axis.kind == Axis::Kind::Timestamps && entry.timeQuality != TimeQuality::None;
        const uint64_t time = timed ? std::min(Units(offset, entry.ticks), last) : TimeAt(offset);
        sink.OnLoss(entry, {time, time, offset, timed ? entry.timeQuality : TimeQuality::None, 0});
    }
}

}  // namespace Korr::Plim::Trace::Exports
