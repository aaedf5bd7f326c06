#include "exports/trace_events.h"

#include <cmath>

#include "exports/counter_names.h"
#include "exports/packet_fields.h"

namespace Korr::Plim::Trace::Exports {

using Swo::Packet;
using Swo::PacketKind;
using Change = Swo::ExceptionTimeline::Change;

void TraceEvents::OnBegin(const CaptureFacts& facts, const Axis& times) {
    names.emplace(facts);
    axis = times;
    added.reset();
    open = 0;
    wraps.fill(0);
    BeginProcess(++process, facts.name, axis.explained);
}

void TraceEvents::Start(Phase phase, uint32_t track, uint64_t time, std::string_view trackName,
                        std::string_view name) {
    if (!added[track]) {
        added.set(track);
        AddTrack(track, trackName, phase == Phase::Number);
    }
    BeginEvent(phase, track, axis.Nanoseconds(time), name);
}

void TraceEvents::StartMark(uint32_t track, const Moment& moment, std::string_view trackName,
                            std::string_view name) {
    Start(Phase::Mark, track, moment.time, trackName, name);
    AddMoment(moment);
}

/// Where it is, how sure its time is, whether it may be wrong.
void TraceEvents::AddMoment(const Moment& moment) {
    AddArgument("offset", moment.offset);
    if (moment.quality != Swo::TimeQuality::Exact) AddArgument("time", Swo::QualityName(moment.quality));
    if (moment.earliest != moment.time) AddArgument("not_before_ns", axis.Nanoseconds(moment.earliest));
    if (const auto flags = FlagNames(moment.flags); !flags.empty()) AddArgument("flags", flags);
}

void TraceEvents::OnPacket(const Packet& packet, const Moment& moment) {
    switch (packet.kind) {
        case PacketKind::Stimulus:
            return AddPort(packet, moment);
        case PacketKind::EventCounters:
        case PacketKind::PmuOverflow:
            return AddCounters(packet, moment);
        case PacketKind::PcSample:
        case PacketKind::PcSleep:
        case PacketKind::PcProhibited:
            return AddPc(packet, moment);
        case PacketKind::DataMatch:
        case PacketKind::DataPc:
        case PacketKind::DataAddress:
        case PacketKind::DataValue:
            return AddWatch(packet, moment);
        default:
            return AddOther(packet, moment);
    }
}

void TraceEvents::AddOther(const Packet& packet, const Moment& moment) {
    const bool isDamage = Swo::IsDamage(packet.kind);
    const bool isLoss = isDamage || packet.kind == PacketKind::Overflow;
    if (!isLoss && packet.kind != PacketKind::Extension && packet.kind != PacketKind::UnknownHardware) return;
    StartMark(isLoss ? kLosses : kOther, moment, isLoss ? "losses" : "other packets",
              Swo::KindName(packet.kind));
    if (isDamage) AddArgument("bytes", packet.length);
    if (!isLoss) {
        AddArgument("source", packet.source);
        AddArgument("payload", HexadecimalText(packet.value));
    }
    EndEvent();
}

/// What is no number that can be drawn is a mark.
void TraceEvents::AddPort(const Packet& packet, const Moment& moment) {
    const auto port = static_cast<uint8_t>(packet.source);
    const auto type = names->TypeOf(port);
    if (type == Swo::PortType::Text) return;
    const auto number = Swo::NumberOf(packet, type);
    const std::string& name = names->Port(port);
    if (number && std::isfinite(*number) && !moment.IsSuspect()) {
        Start(Phase::Number, kFirstNumber + port, moment.time, name, name);
        if (type == Swo::PortType::F32) {
            SetNumber(static_cast<float>(*number));
        } else {
            SetNumber(static_cast<int64_t>(*number));
        }
        return EndEvent();
    }
    StartMark(kFirstPort + port, moment, name, !number ? "short write" : "value");
    AddArgument("payload", HexadecimalText(packet.value));
    EndEvent();
}

void TraceEvents::AddWatch(const Packet& packet, const Moment& moment) {
    const std::string& name = names->Watch(packet);
    const uint32_t comparator = packet.source & 0xF;
    if (packet.kind == PacketKind::DataValue && !moment.IsSuspect()) {
        const uint32_t write = (packet.flags & Swo::kWrite) != 0 ? 1 : 0;
        Start(Phase::Number, kFirstWatchNumber + 2 * comparator + write, moment.time, name, name);
        SetNumber(int64_t{packet.value});
        return EndEvent();
    }
    StartMark(kFirstWatch + comparator, moment, "watch " + std::to_string(comparator), name);
    if (packet.kind != PacketKind::DataMatch) AddArgument("payload", HexadecimalText(packet.value));
    if (const auto symbol = names->Symbol(packet); !symbol.empty()) AddArgument("symbol", symbol);
    EndEvent();
}

/// A counter's line rises by one each time it wraps.
void TraceEvents::AddCounters(const Packet& packet, const Moment& moment) {
    const bool isPmu = packet.kind == PacketKind::PmuOverflow;
    if (moment.IsSuspect()) {
        StartMark(kOther, moment, "other packets", Swo::KindName(packet.kind));
        AddArgument("payload", HexadecimalText(packet.value));
        return EndEvent();
    }
    const std::size_t count = isPmu ? kPmuCounters : kEventCounters.size();
    for (std::size_t bit = 0; bit < count; ++bit) {
        if ((packet.value >> bit & 1) == 0) continue;
        const std::size_t row = isPmu ? kEventCounters.size() + bit : bit;
        const std::string name =
            "wraps of " + (isPmu ? "pmu" + std::to_string(bit) : std::string(kEventCounters[bit]));
        Start(Phase::Number, static_cast<uint32_t>(kFirstCounter + row), moment.time, name, name);
        SetNumber(++wraps[row]);
        EndEvent();
    }
}

void TraceEvents::AddPc(const Packet& packet, const Moment& moment) {
    constexpr std::string_view kTrack = "PC samples";
    if (packet.kind != PacketKind::PcSample) {
        StartMark(kPcSamples, moment, kTrack, packet.kind == PacketKind::PcSleep ? "sleeping" : "prohibited");
        return EndEvent();
    }
    const std::string address = HexadecimalText(packet.value);
    const auto function = names->Function(packet.value);
    StartMark(kPcSamples, moment, kTrack, function.empty() ? std::string_view(address) : function);
    AddArgument("pc", address);
    EndEvent();
}

void TraceEvents::OnException(const Swo::ExceptionTimeline::Event& event, const Moment& moment) {
    constexpr std::string_view kTrack = "exceptions";
    switch (event.change) {
        case Change::Begin:
        case Change::Resume:
            ++open;
            Start(Phase::Begin, kExceptions, moment.time, kTrack, names->Exception(event.number));
            AddMoment(moment);
            AddArgument("number", event.number);
            if (event.change == Change::Resume) AddArgument("entry", "not seen");
            return EndEvent();
        case Change::End:
        case Change::Inferred:
            --open;
            Start(Phase::End, kExceptions, moment.time, kTrack, {});
            if (event.change == Change::Inferred) AddArgument("exit", "inferred");
            return EndEvent();
        case Change::Unknown:
            CloseSpans(moment.time);
            StartMark(kExceptions, moment, kTrack, "not known what runs");
            return EndEvent();
    }
}

void TraceEvents::CloseSpans(uint64_t time) {
    for (; open > 0; --open) {
        Start(Phase::End, kExceptions, time, {}, {});
        AddArgument("exit", "not seen");
        EndEvent();
    }
}

void TraceEvents::OnLine(uint8_t port, std::string_view line, const Moment& begin, uint64_t) {
    StartMark(kFirstPort + port, begin, names->Port(port), line);
    EndEvent();
}

void TraceEvents::OnLoss(const Swo::LedgerEntry& entry, const Moment& moment) {
    StartMark(kLosses, moment, "losses", Swo::LossKindName(entry.kind));
    AddArgument("class", Swo::LossClassName(entry.lossClass));
    AddArgument("count", entry.count);
    if (entry.missingKnown) AddArgument("missing", entry.missing);
    if (entry.hint) AddArgument("severity", "hint");
    EndEvent();
}

}  // namespace Korr::Plim::Trace::Exports
