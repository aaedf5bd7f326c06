#include "exports/vcd_writer.h"

#include <algorithm>
#include <bit>

#include "exports/counter_names.h"
#include "exports/utf8.h"

namespace Korr::Plim::Trace::Exports {

using Swo::Packet;
using Swo::PacketKind;
using Swo::PortType;
using Change = Swo::ExceptionTimeline::Change;

namespace {

/// As a name in a dump: no blanks, nothing that tools take for something else.
std::string CleanName(std::string_view name) {
    std::string clean(name.substr(0, 200));
    for (char& character : clean) {
        const bool isPlain = (character >= 'a' && character <= 'z') ||
                             (character >= 'A' && character <= 'Z') || (character >= '0' && character <= '9');
        if (!isPlain) character = '_';
    }
    return clean;
}

/// On one line, and no end of a comment.
std::string CleanComment(std::string_view text) {
    std::string clean;
    while (!text.empty()) {
        const std::string_view character = TakeCharacter(text);
        const auto byte = static_cast<unsigned char>(character[0]);
        clean += byte < 0x20 || byte == 0x7F || byte == '$' ? "_" : character;
    }
    return clean;
}

unsigned BitsOf(PortType type) { return Swo::PortTypeSize(type) * 8U; }

constexpr std::array<const char*, VcdSignals::kWatches> kWatchNames = {"read", "write", "pc", "address",
                                                                       "matches"};

}  // namespace

void VcdWriter::OnBegin(const CaptureFacts& facts, const Axis& times) {
    names.emplace(facts);
    axis = times;
    row.BeginRow();
    row.Add("$comment ");
    row.AddLong(CleanComment(facts.name));
    row.Add("; ");
    row.AddLong(CleanComment(axis.explained));
    row.Add(" $end\n$timescale 1 ns $end\n");
    DeclareSignals();
    row.Add("$enddefinitions $end\n#0\n");
    DumpFirst();
}

void VcdWriter::BeginScope(std::string_view name) {
    row.BeginRow();
    row.Add("$scope module ");
    row.Add(name);
    row.Add(" $end\n");
}

void VcdWriter::Declare(std::string_view type, unsigned bits, uint32_t signal, const std::string& name) {
    row.BeginRow();
    row.Add("$var ");
    row.Add(type);
    row.Add(' ');
    row.AddNumber(bits);
    row.Add(' ');
    AddId(signal);
    row.Add(' ');
    row.Add(name);
    row.Add(" $end\n");
}

void VcdWriter::DeclareSignals() {
    BeginScope("losses");
    Declare("reg", 32, kOverflows, "overflows");
    Declare("reg", 32, kDamaged, "damaged_bytes");
    Declare("wire", 1, kSuspect, "suspect");
    EndScope();
    BeginScope("exceptions");
    Declare("reg", 9, kRunning, "running");
    for (uint32_t number = 1; number < signals.exceptions.size(); ++number) {
        if (!signals.exceptions[number]) continue;
        declared.push_back(static_cast<uint16_t>(number));
        Declare("wire", 1, kFirstException + number,
                CleanName(names->Exception(number)) + "_" + std::to_string(number));
    }
    EndScope();
    DeclarePorts();
    DeclareWatches();
    DeclareCounters();
}

void VcdWriter::DeclarePorts() {
    BeginScope("ports");
    for (uint32_t port = 0; port < signals.ports.size(); ++port) {
        if (!signals.ports[port]) continue;
        const PortType type = names->TypeOf(static_cast<uint8_t>(port));
        const bool isText = type == PortType::Text;
        const bool isReal = type == PortType::F32;
        Declare(isText   ? "string"
                : isReal ? "real"
                         : "reg",
                isText   ? 1
                : isReal ? 64
                         : BitsOf(type),
                kFirstPort + port, CleanName(names->Port(static_cast<uint8_t>(port))));
    }
    EndScope();
}

void VcdWriter::DeclareWatches() {
    BeginScope("watches");
    for (uint32_t comparator = 0; comparator < signals.watches.size(); ++comparator) {
        for (uint32_t kind = 0; kind < VcdSignals::kWatches; ++kind) {
            if (!signals.watches[comparator][kind]) continue;
            Declare("reg", 32, kFirstWatch + comparator * VcdSignals::kWatches + kind,
                    "watch_" + std::to_string(comparator) + "_" + kWatchNames[kind]);
        }
    }
    EndScope();
}

void VcdWriter::DeclareCounters() {
    BeginScope("counters");
    for (uint32_t counter = 0; counter < signals.counters.size(); ++counter) {
        if (!signals.counters[counter]) continue;
        const bool isPmu = counter >= kEventCounters.size();
        Declare("reg", 32, kFirstCounter + counter,
                "wraps_of_" + (isPmu ? "pmu" + std::to_string(counter - kEventCounters.size())
                                     : std::string(kEventCounters[counter])));
    }
    EndScope();
    if (!signals.hasSamples) return;
    BeginScope("samples");
    Declare("reg", 32, kPc, "pc");
    Declare("wire", 1, kAsleep, "asleep");
    Declare("wire", 1, kProhibited, "prohibited");
    Declare("string", 1, kFunction, "function");
    EndScope();
}

/// Nothing is known of values yet; thread mode is what the recording begins with until it says otherwise.
void VcdWriter::DumpFirst() {
    row.BeginRow();
    row.Add("$dumpvars\n");
    SetVector(kOverflows, 32, 0);
    SetVector(kDamaged, 32, 0);
    SetBit(kSuspect, '0');
    SetRunning();
    for (uint32_t port = 0; port < signals.ports.size(); ++port) {
        const auto type = names->TypeOf(static_cast<uint8_t>(port));
        if (signals.ports[port] && type != PortType::Text && type != PortType::F32)
            SetUnknown(kFirstPort + port);
    }
    for (uint32_t i = 0; i < VcdSignals::kComparators * VcdSignals::kWatches; ++i) {
        const uint32_t kind = i % VcdSignals::kWatches;
        if (!signals.watches[i / VcdSignals::kWatches][kind]) continue;
        if (kind == VcdSignals::Match) {
            SetVector(kFirstWatch + i, 32, 0);
        } else {
            SetUnknown(kFirstWatch + i);
        }
    }
    for (uint32_t counter = 0; counter < signals.counters.size(); ++counter) {
        if (signals.counters[counter]) SetVector(kFirstCounter + counter, 32, 0);
    }
    if (signals.hasSamples) {
        SetUnknown(kPc);
        SetBit(kAsleep, 'x');
        SetBit(kProhibited, 'x');
    }
    row.Add("$end\n");
}

/// Printable characters stand for the digits of a number.
void VcdWriter::AddId(uint32_t signal) {
    constexpr uint32_t kDigits = '~' - '!' + 1;
    row.Add(static_cast<char>('!' + signal % kDigits));
    if (signal >= kDigits) row.Add(static_cast<char>('!' + signal / kDigits));
}

void VcdWriter::At(uint64_t time) {
    const uint64_t nanoseconds = axis.Nanoseconds(time);
    if (nanoseconds == now) return;
    now = nanoseconds;
    row.BeginRow();
    row.Add('#');
    row.AddNumber(now);
    row.Add('\n');
}

void VcdWriter::SetBit(uint32_t signal, char bit) {
    row.BeginRow();
    row.Add(bit);
    AddId(signal);
    row.Add('\n');
}

void VcdWriter::SetVector(uint32_t signal, unsigned bits, uint32_t value) {
    row.BeginRow();
    row.Add('b');
    const uint32_t kept = bits >= 32 ? value : value & ((1U << bits) - 1);
    for (int bit = std::max<int>(static_cast<int>(std::bit_width(kept)), 1); bit-- > 0;) {
        row.Add((kept >> bit & 1) != 0 ? '1' : '0');
    }
    row.Add(' ');
    AddId(signal);
    row.Add('\n');
}

void VcdWriter::SetUnknown(uint32_t signal) {
    row.BeginRow();
    row.Add("bx ");
    AddId(signal);
    row.Add('\n');
}

/// Blanks and what is no letter are written as octal numbers, as in C.
void VcdWriter::SetText(uint32_t signal, std::string_view text) {
    row.BeginRow();
    row.Add('s');
    while (!text.empty()) {
        const std::string_view character = TakeCharacter(text);
        const auto byte = static_cast<unsigned char>(character[0]);
        if (byte > 0x20 && byte != 0x7F && byte != '\\') {
            row.AddLong(character);
            continue;
        }
        row.Add('\\');
        row.Add(static_cast<char>('0' + (byte >> 6)));
        row.Add(static_cast<char>('0' + (byte >> 3 & 7)));
        row.Add(static_cast<char>('0' + (byte & 7)));
        row.BeginRow();
    }
    row.Add(' ');
    AddId(signal);
    row.Add('\n');
}

void VcdWriter::CountUp(uint32_t signal, uint32_t by) { SetVector(signal, 32, counts[signal] += by); }

void VcdWriter::OnPacket(const Packet& packet, const Moment& moment) {
    At(moment.time);
    const bool isTime = packet.kind == PacketKind::LocalTime;
    if (!isTime && moment.IsSuspect() != suspect) {
        suspect = moment.IsSuspect();
        SetBit(kSuspect, suspect ? '1' : '0');
    }
    if (packet.kind == PacketKind::Exception) return OnReturn(packet);
    if (packet.kind == PacketKind::Overflow) return CountUp(kOverflows, 1);
    if (Swo::IsDamage(packet.kind)) return CountUp(kDamaged, packet.length);
    if (moment.IsSuspect()) return;
    switch (packet.kind) {
        case PacketKind::Stimulus:
            return SetPort(packet);
        case PacketKind::DataMatch:
        case PacketKind::DataPc:
        case PacketKind::DataAddress:
        case PacketKind::DataValue:
            return SetWatch(packet);
        case PacketKind::EventCounters:
            return CountWraps(packet.value, 0, kEventCounters.size());
        case PacketKind::PmuOverflow:
            return CountWraps(packet.value, kEventCounters.size(), kPmuCounters);
        case PacketKind::PcSample:
        case PacketKind::PcSleep:
        case PacketKind::PcProhibited:
            return SetSample(packet);
        default:
            return;
    }
}

/// In thread mode it is known again what runs.
void VcdWriter::OnReturn(const Packet& packet) {
    if (known || packet.source != 0 || (packet.flags & Swo::kKindFlags) == Swo::kExited) return;
    known = true;
    SetRunning();
}

void VcdWriter::CountWraps(uint32_t value, uint32_t first, uint32_t count) {
    for (uint32_t bit = 0; bit < count; ++bit) {
        if ((value >> bit & 1) != 0 && signals.counters[first + bit]) CountUp(kFirstCounter + first + bit, 1);
    }
}

void VcdWriter::SetPort(const Packet& packet) {
    const auto port = static_cast<uint8_t>(packet.source);
    const PortType type = names->TypeOf(port);
    const auto number = Swo::NumberOf(packet, type);
    if (!number || !signals.ports[port]) return;
    if (type != PortType::F32) return SetVector(kFirstPort + port, BitsOf(type), packet.value);
    row.BeginRow();
    row.Add('r');
    row.AddNumber(static_cast<float>(*number));
    row.Add(' ');
    AddId(kFirstPort + port);
    row.Add('\n');
}

void VcdWriter::SetWatch(const Packet& packet) {
    const uint32_t comparator = packet.source % VcdSignals::kComparators;
    const auto kind = VcdSignals::WatchOf(packet);
    const uint32_t signal = kFirstWatch + comparator * VcdSignals::kWatches + kind;
    if (!signals.watches[comparator][kind]) return;
    if (kind == VcdSignals::Match) return CountUp(signal, 1);
    SetVector(signal, 32, packet.value);
}

void VcdWriter::SetSample(const Packet& packet) {
    if (!signals.hasSamples) return;
    const bool isPlace = packet.kind == PacketKind::PcSample;
    if (isPlace) {
        SetVector(kPc, 32, packet.value);
    } else {
        SetUnknown(kPc);
    }
    SetBit(kAsleep, packet.kind == PacketKind::PcSleep ? '1' : '0');
    SetBit(kProhibited, packet.kind == PacketKind::PcProhibited ? '1' : '0');
    const auto function = isPlace ? names->Function(packet.value) : std::string_view();
    SetText(kFunction, !function.empty() ? function : !isPlace ? "-" : "?");
}

void VcdWriter::OnException(const Swo::ExceptionTimeline::Event& event, const Moment& moment) {
    At(moment.time);
    switch (event.change) {
        case Change::Begin:
        case Change::Resume:
            running.push_back(event.number);
            break;
        case Change::End:
        case Change::Inferred:
            if (!running.empty()) running.pop_back();
            break;
        case Change::Unknown:
            running.clear();
            known = false;
            break;
    }
    SetRunning();
}

/// Wires that change. What is not known to run is unknown until a return to thread mode.
void VcdWriter::SetRunning() {
    for (const uint16_t number : declared) {
        const bool isOn = std::find(running.begin(), running.end(), number) != running.end();
        const char bit = isOn ? '1' : known ? '0' : 'x';
        if (shown[number] == bit) continue;
        shown[number] = bit;
        SetBit(kFirstException + number, bit);
    }
    if (running.empty() && !known) return SetUnknown(kRunning);
    SetVector(kRunning, 9, running.empty() ? 0 : running.back());
}

void VcdWriter::OnLine(uint8_t port, std::string_view line, const Moment&, uint64_t end) {
    if (!signals.ports[port]) return;
    At(end);
    SetText(kFirstPort + port, line);
}

void VcdWriter::OnEnd(uint64_t time) {
    // A time of its own, so that viewers show the last values.
    now = axis.Nanoseconds(time);
    row.BeginRow();
    row.Add('#');
    row.AddNumber(now + 1);
    row.Add('\n');
}

}  // namespace Korr::Plim::Trace::Exports
