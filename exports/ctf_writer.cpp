#include "exports/ctf_writer.h"

#include "exports/clean_text.h"

namespace Korr::Plim::Trace::Exports {

using Swo::Packet;
using Swo::PacketKind;

namespace {

constexpr uint32_t kMagic = 0xC1FC1FC1;
constexpr uint64_t kHeadBytes = 8 + 6 * 8;
constexpr std::size_t kLongestName = 255;

}  // namespace

/// A zero byte ends it.
void CtfWriter::AddText(std::string_view text) {
    char* const end = WriteClean(events.Room(CleanRoom(text.size()) + 1), text, ZeroByte::Shown);
    *end = '\0';
    events.EndAt(end + 1);
}

/// Never empty: babeltrace2 2.0 shows the text before it in an empty one's place.
void CtfWriter::AddName(std::string_view name) {
    AddText(name.empty() ? std::string_view("?") : name.substr(0, kLongestName));
}

void CtfWriter::OnBegin(const CaptureFacts& facts, const Axis& axis) {
    names.emplace(facts);
    const std::string text = CtfMetadata(facts, *names, axis);
    metadata.Write(text.data(), text.size());
}

void CtfWriter::BeginEvent(CtfEvent id, const Moment& moment, uint64_t time) {
    eventTime = time;
    Add(static_cast<uint64_t>(id), 1);
    Add(time, 8);
    Add(moment.offset, 8);
    Add(static_cast<uint64_t>(moment.quality), 1);
    Add(moment.IsSuspect() ? 1 : 0, 1);
    Add((moment.flags & Swo::kSalvaged) != 0 ? 1 : 0, 1);
}

/// An event for which its packet has no room begins the next one.
void CtfWriter::EndEvent() {
    if (kHeadBytes + events.Size() > kMostBytes) EndPacket();
    if (whole == 0) first = eventTime;
    last = eventTime;
    whole = events.Size();
}

/// With the events that are whole. A packet without events only says how much was discarded until then.
void CtfWriter::EndPacket() {
    if (whole == 0 && packets > 0) return;
    const uint64_t bits = 8 * (kHeadBytes + whole);
    head.Clear();
    head.AddNumber(kMagic, 4);
    head.AddNumber(0, 4);
    for (const uint64_t number : {whole == 0 ? last : first, last, bits, bits, packets, discarded}) {
        head.AddNumber(number, 8);
    }
    ++packets;
    stream.Write(head.Bytes().data(), head.Size());
    stream.Write(events.Bytes().data(), whole);
    events.Drop(whole);
    whole = 0;
}

void CtfWriter::OnPacket(const Packet& packet, const Moment& moment) {
    switch (packet.kind) {
        case PacketKind::Stimulus:
            return AddPort(packet, moment);
        case PacketKind::Exception:
            BeginEvent(CtfEvent::Exception, moment, moment.time);
            Add(packet.source, 2);
            Add(packet.flags & Swo::kKindFlags, 1);
            return EndEvent();
        case PacketKind::PcSample:
            BeginEvent(CtfEvent::PcSample, moment, moment.time);
            Add(packet.value, 4);
            AddName(names->Function(packet.value));
            return EndEvent();
        case PacketKind::PcSleep:
        case PacketKind::PcProhibited:
            BeginEvent(packet.kind == PacketKind::PcSleep ? CtfEvent::PcSleep : CtfEvent::PcProhibited,
                       moment, moment.time);
            return EndEvent();
        case PacketKind::DataMatch:
        case PacketKind::DataPc:
        case PacketKind::DataAddress:
        case PacketKind::DataValue:
            return AddWatch(packet, moment);
        case PacketKind::EventCounters:
        case PacketKind::PmuOverflow:
            BeginEvent(
                packet.kind == PacketKind::PmuOverflow ? CtfEvent::PmuOverflow : CtfEvent::EventCounters,
                moment, moment.time);
            Add(packet.value, 1);
            return EndEvent();
        case PacketKind::Extension:
        case PacketKind::UnknownHardware:
            BeginEvent(CtfEvent::OtherPacket, moment, moment.time);
            Add(static_cast<uint64_t>(packet.kind), 1);
            Add(packet.source, 2);
            Add(packet.size, 1);
            Add(packet.value, 4);
            return EndEvent();
        default:
            if (packet.kind == PacketKind::Overflow || Swo::IsDamage(packet.kind)) AddLoss(packet, moment);
    }
}

/// What was lost lies between the packet that ends here and the next one.
void CtfWriter::AddLoss(const Packet& packet, const Moment& moment) {
    EndPacket();
    if (packet.kind != PacketKind::TruncatedEnd) ++discarded;
    const bool isOverflow = packet.kind == PacketKind::Overflow;
    BeginEvent(isOverflow ? CtfEvent::Overflow : CtfEvent::Damage, moment, moment.time);
    if (!isOverflow) {
        Add(static_cast<uint64_t>(packet.kind), 1);
        Add(packet.length, 4);
    }
    EndEvent();
}

void CtfWriter::AddPort(const Packet& packet, const Moment& moment) {
    const auto port = static_cast<uint8_t>(packet.source);
    const auto type = names->TypeOf(port);
    if (type == Swo::PortType::Text) return;
    const auto number = Swo::NumberOf(packet, type);
    const bool isFloat = type == Swo::PortType::F32;
    BeginEvent(!number   ? CtfEvent::PortPayload
               : isFloat ? CtfEvent::PortFloat
                         : CtfEvent::PortValue,
               moment, moment.time);
    Add(port, 1);
    if (!number) Add(packet.size, 1);
    if (number && !isFloat) {
        Add(static_cast<uint64_t>(static_cast<int64_t>(*number)), 8);
    } else {
        Add(packet.value, 4);
    }
    EndEvent();
}

void CtfWriter::AddWatch(const Packet& packet, const Moment& moment) {
    switch (packet.kind) {
        case PacketKind::DataMatch:
            BeginEvent(CtfEvent::DataMatch, moment, moment.time);
            Add(packet.source, 1);
            return EndEvent();
        case PacketKind::DataPc:
            BeginEvent(CtfEvent::DataPc, moment, moment.time);
            break;
        case PacketKind::DataAddress:
            BeginEvent(CtfEvent::DataAddress, moment, moment.time);
            break;
        default:
            BeginEvent(CtfEvent::DataValue, moment, moment.time);
            break;
    }
    Add(packet.source, 1);
    if (packet.kind == PacketKind::DataValue) Add((packet.flags & Swo::kWrite) != 0 ? 1 : 0, 1);
    Add(packet.size, 1);
    Add(packet.value, 4);
    if (packet.kind == PacketKind::DataPc) AddName(names->Symbol(packet));
    EndEvent();
}

void CtfWriter::OnLine(uint8_t port, std::string_view line, const Moment& begin, uint64_t end) {
    BeginEvent(CtfEvent::Text, begin, end);
    Add(port, 1);
    AddText(line);
    EndEvent();
}

}  // namespace Korr::Plim::Trace::Exports
