#include "exports/chrome_writer.h"

#include <cmath>

#include "exports/counter_names.h"
#include "exports/json_text.h"
#include "exports/packet_fields.h"

namespace Korr::Plim::Trace::Exports {

using Swo::Packet;
using Swo::PacketKind;
using Change = Swo::ExceptionTimeline::Change;

namespace {

/// "0x8000123", for what has no name.
std::string Hexadecimal(uint32_t number) {
    std::array<char, 10> text{'0', 'x'};
    return {text.data(), std::to_chars(text.data() + 2, text.data() + text.size(), number, 16).ptr};
}

std::string WatchName(const Packet& packet) {
    const std::string watch = "watch " + std::to_string(packet.source);
    switch (packet.kind) {
        case PacketKind::DataMatch:
            return watch + " match";
        case PacketKind::DataPc:
            return watch + " pc";
        case PacketKind::DataAddress:
            return watch + " address";
        default:
            return watch + ((packet.flags & Swo::kWrite) != 0 ? " write" : " read");
    }
}

}  // namespace

void ChromeWriter::OnBegin(const CaptureFacts& facts, const Axis& times) {
    names.emplace(facts);
    axis = times;
    ++process;
    named.reset();
    wraps.fill(0);
    NameProcess("process_name", "name", facts.name);
    NameProcess("process_labels", "labels", axis.explained);
    NameThread(kLosses);
}

void ChromeWriter::NameProcess(std::string_view kind, std::string_view member, std::string_view text) {
    row.BeginRow();
    row.Add(first ? "[\n" : ",\n");
    first = false;
    row.Add("{\"ph\":\"M\",\"pid\":");
    row.AddNumber(process);
    row.Add(",\"name\":\"");
    row.Add(kind);
    row.Add("\",\"args\":{\"");
    row.Add(member);
    row.Add("\":");
    AddJsonString(row, text);
    row.Add("}}");
}

/// Threads are named when they are used first, and stand in the order of their numbers.
void ChromeWriter::NameThread(uint32_t thread) {
    if (named[thread]) return;
    named.set(thread);
    std::string name;
    if (thread >= kFirstPort) {
        name = names->Port(static_cast<uint8_t>(thread - kFirstPort));
    } else if (thread >= kFirstWatch) {
        name = "watch " + std::to_string(thread - kFirstWatch);
    } else {
        name = thread == kLosses       ? "losses"
               : thread == kExceptions ? "exceptions"
               : thread == kPcSamples  ? "PC samples"
                                       : "other packets";
    }
    row.BeginRow();
    row.Add(",\n{\"ph\":\"M\",\"pid\":");
    row.AddNumber(process);
    row.Add(",\"tid\":");
    row.AddNumber(thread);
    row.Add(",\"name\":\"thread_name\",\"args\":{\"name\":");
    AddJsonString(row, name);
    row.Add("}},\n{\"ph\":\"M\",\"pid\":");
    row.AddNumber(process);
    row.Add(",\"tid\":");
    row.AddNumber(thread);
    row.Add(",\"name\":\"thread_sort_index\",\"args\":{\"sort_index\":");
    row.AddNumber(thread);
    row.Add("}}");
}

/// Nanoseconds as microseconds.
void ChromeWriter::AddTime(uint64_t time) {
    const uint64_t nanoseconds = axis.Nanoseconds(time);
    row.AddNumber(nanoseconds / 1000);
    const auto rest = static_cast<uint32_t>(nanoseconds % 1000);
    if (rest == 0) return;
    row.Add('.');
    row.Add(static_cast<char>('0' + rest / 100));
    row.Add(static_cast<char>('0' + rest / 10 % 10));
    row.Add(static_cast<char>('0' + rest % 10));
}

void ChromeWriter::BeginEvent(char phase, uint32_t thread, uint64_t time, std::string_view name) {
    NameThread(thread);
    row.BeginRow();
    row.Add(",\n{\"ph\":\"");
    row.Add(phase);
    row.Add("\",\"pid\":");
    row.AddNumber(process);
    row.Add(",\"tid\":");
    row.AddNumber(thread);
    row.Add(",\"ts\":");
    AddTime(time);
    if (!name.empty()) {
        row.Add(",\"name\":");
        AddJsonString(row, name);
    }
    hasArguments = false;
}

void ChromeWriter::AddArgument(std::string_view name, uint64_t number) {
    row.Add(hasArguments ? ",\"" : ",\"args\":{\"");
    hasArguments = true;
    row.Add(name);
    row.Add("\":");
    row.AddNumber(number);
}

void ChromeWriter::AddArgument(std::string_view name, std::string_view word) {
    row.Add(hasArguments ? ",\"" : ",\"args\":{\"");
    hasArguments = true;
    row.Add(name);
    row.Add("\":");
    AddJsonString(row, word);
}

/// What is to be known of anything: where it is, how sure its time is, whether it may be wrong.
void ChromeWriter::AddArguments(const Moment& moment) {
    AddArgument("offset", moment.offset);
    if (moment.quality != Swo::TimeQuality::Exact) AddArgument("time", Swo::QualityName(moment.quality));
    if (moment.earliest != moment.time) {
        row.Add(",\"not_before\":");
        AddTime(moment.earliest);
    }
    if (const auto flags = FlagNames(moment.flags); !flags.empty()) AddArgument("flags", flags);
}

void ChromeWriter::EndEvent() { row.Add(hasArguments ? "}}" : "}"); }

void ChromeWriter::BeginMark(uint32_t thread, const Moment& moment, std::string_view name) {
    BeginEvent('i', thread, moment.time, name);
    row.Add(thread == kLosses ? ",\"s\":\"p\",\"cat\":\"loss\"" : ",\"s\":\"t\"");
    AddArguments(moment);
}

void ChromeWriter::OnPacket(const Packet& packet, const Moment& moment) {
    switch (packet.kind) {
        case PacketKind::Stimulus:
            return OnNumber(packet, moment);
        case PacketKind::EventCounters:
        case PacketKind::PmuOverflow:
            return OnCounters(packet, moment);
        case PacketKind::PcSample:
        case PacketKind::PcSleep:
        case PacketKind::PcProhibited:
            return OnPc(packet, moment);
        case PacketKind::DataMatch:
        case PacketKind::DataPc:
        case PacketKind::DataAddress:
        case PacketKind::DataValue:
            return OnWatch(packet, moment);
        case PacketKind::Overflow:
            BeginMark(kLosses, moment, "overflow");
            return EndEvent();
        case PacketKind::Extension:
        case PacketKind::UnknownHardware:
            BeginMark(kOther, moment, Swo::KindName(packet.kind));
            AddArgument("source", packet.source);
            AddArgument("value", packet.value);
            return EndEvent();
        default:
            if (!Swo::IsDamage(packet.kind)) return;
            BeginMark(kLosses, moment, Swo::KindName(packet.kind));
            AddArgument("bytes", packet.length);
            return EndEvent();
    }
}

/// What may be wrong, and what JSON has no number for, is a mark.
void ChromeWriter::OnNumber(const Packet& packet, const Moment& moment) {
    const auto port = static_cast<uint8_t>(packet.source);
    const auto type = names->TypeOf(port);
    if (type == Swo::PortType::Text) return;
    const auto number = Swo::NumberOf(packet, type);
    if (number && std::isfinite(*number) && !moment.IsSuspect()) {
        BeginEvent('C', kFirstPort + port, moment.time, names->Port(port));
        row.Add(",\"args\":{\"value\":");
        if (type == Swo::PortType::F32) {
            row.AddNumber(static_cast<float>(*number));
        } else {
            row.AddNumber(static_cast<int64_t>(*number));
        }
        return row.Add("}}");
    }
    BeginMark(kFirstPort + port, moment, !number ? "short write" : "value");
    AddArgument("payload", Hexadecimal(packet.value));
    EndEvent();
}

void ChromeWriter::OnWatch(const Packet& packet, const Moment& moment) {
    const uint32_t thread = kFirstWatch + packet.source;
    if (packet.kind == PacketKind::DataValue && !moment.IsSuspect()) {
        BeginEvent('C', thread, moment.time, WatchName(packet));
        AddArgument("value", packet.value);
        return EndEvent();
    }
    BeginMark(thread, moment, WatchName(packet));
    if (packet.kind != PacketKind::DataMatch) AddArgument("payload", Hexadecimal(packet.value));
    if (const auto symbol = names->Symbol(packet); !symbol.empty()) AddArgument("symbol", symbol);
    EndEvent();
}

/// A counter's line rises by one each time it wraps.
void ChromeWriter::CountUp(const std::string& name, uint64_t& count, uint64_t time) {
    BeginEvent('C', kOther, time, name);
    AddArgument("wraps", ++count);
    EndEvent();
}

void ChromeWriter::OnCounters(const Packet& packet, const Moment& moment) {
    const bool isPmu = packet.kind == PacketKind::PmuOverflow;
    if (moment.IsSuspect()) {
        BeginMark(kOther, moment, Swo::KindName(packet.kind));
        AddArgument("payload", Hexadecimal(packet.value));
        return EndEvent();
    }
    const std::size_t count = isPmu ? kPmuCounters : kEventCounters.size();
    for (std::size_t bit = 0; bit < count; ++bit) {
        if ((packet.value >> bit & 1) == 0) continue;
        const std::string name = isPmu ? "pmu " + std::to_string(bit) : kEventCounters[bit];
        CountUp("counter " + name, wraps[isPmu ? kEventCounters.size() + bit : bit], moment.time);
    }
}

void ChromeWriter::OnPc(const Packet& packet, const Moment& moment) {
    if (packet.kind != PacketKind::PcSample) {
        BeginMark(kPcSamples, moment, packet.kind == PacketKind::PcSleep ? "sleeping" : "prohibited");
        return EndEvent();
    }
    const std::string address = Hexadecimal(packet.value);
    const auto function = names->Function(packet.value);
    BeginMark(kPcSamples, moment, function.empty() ? std::string_view(address) : function);
    AddArgument("pc", address);
    EndEvent();
}

void ChromeWriter::OnException(const Swo::ExceptionTimeline::Event& event, const Moment& moment) {
    switch (event.change) {
        case Change::Begin:
        case Change::Resume:
            ++open;
            BeginEvent('B', kExceptions, moment.time, names->Exception(event.number));
            AddArguments(moment);
            AddArgument("number", event.number);
            if (event.change == Change::Resume) AddArgument("entry", "not seen");
            return EndEvent();
        case Change::End:
        case Change::Inferred:
            --open;
            BeginEvent('E', kExceptions, moment.time, {});
            if (event.change == Change::Inferred) AddArgument("exit", "inferred");
            return EndEvent();
        case Change::Unknown:
            CloseSpans(moment.time);
            BeginMark(kExceptions, moment, "not known what runs");
            return EndEvent();
    }
}

void ChromeWriter::CloseSpans(uint64_t time) {
    for (; open > 0; --open) {
        BeginEvent('E', kExceptions, time, {});
        AddArgument("exit", "not seen");
        EndEvent();
    }
}

void ChromeWriter::OnLine(uint8_t port, std::string_view line, const Moment& begin, uint64_t) {
    BeginMark(kFirstPort + port, begin, line);
    EndEvent();
}

void ChromeWriter::OnLoss(const Swo::LedgerEntry& entry, const Moment& moment) {
    BeginMark(kLosses, moment, Swo::LossKindName(entry.kind));
    AddArgument("class", Swo::LossClassName(entry.lossClass));
    AddArgument("count", entry.count);
    if (entry.missingKnown) AddArgument("missing", entry.missing);
    if (entry.hint) AddArgument("severity", "hint");
    EndEvent();
}

void ChromeWriter::OnEnd(uint64_t time) { CloseSpans(time); }

void ChromeWriter::OnFinish() {
    row.BeginRow();
    row.Add(first ? "[]\n" : "\n]\n");
    row.Flush();
}

}  // namespace Korr::Plim::Trace::Exports
