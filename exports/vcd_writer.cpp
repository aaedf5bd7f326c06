#include "exports/vcd_writer.h"

#include <algorithm>

#include "exports/counter_names.h"

namespace Korr::Plim::Trace::Exports {

using Swo::Packet;
using Swo::PacketKind;
using Swo::PortType;
using Change = Swo::ExceptionTimeline::Change;

namespace {

constexpr std::size_t kLongestSignalName = 150;

unsigned BitsOf(PortType type) { return Swo::PortTypeSize(type) * 8U; }

constexpr std::array<const char*, VcdSignals::kWatches> kWatchNames = {"read", "write", "pc", "address",
                                                                       "matches"};

}  // namespace

void VcdWriter::OnBegin(const CaptureFacts& facts, const Axis& times) {
    names.emplace(facts);
    axis = times;
    dump.BeginHeader(facts.name + "; " + axis.explained);
    DeclareSignals();
    dump.BeginValues();
    DumpFirst();
    dump.EndFirstValues();
}

void VcdWriter::DeclareSignals() {
    dump.BeginScope("losses");
    dump.Declare("reg", 32, kOverflows, "overflows");
    dump.Declare("reg", 32, kDamaged, "damaged_bytes");
    dump.Declare("wire", 1, kSuspect, "suspect");
    dump.EndScope();
    dump.BeginScope("exceptions");
    dump.Declare("reg", 9, kRunning, "running");
    for (uint32_t number = 1; number < signals.exceptions.size(); ++number) {
        if (!signals.exceptions[number]) continue;
        declared.push_back(static_cast<uint16_t>(number));
        dump.Declare("wire", 1, kFirstException + number,
                     names->Exception(number).substr(0, kLongestSignalName) + "_" + std::to_string(number));
    }
    dump.EndScope();
    DeclarePorts();
    DeclareWatches();
    DeclareCounters();
}

void VcdWriter::DeclarePorts() {
    dump.BeginScope("ports");
    for (uint32_t port = 0; port < signals.ports.size(); ++port) {
        if (!signals.ports[port]) continue;
        const PortType type = names->TypeOf(static_cast<uint8_t>(port));
        const bool isText = type == PortType::Text;
        const bool isReal = type == PortType::F32;
        dump.Declare(isText   ? "string"
                     : isReal ? "real"
                              : "reg",
                     isText   ? 1
                     : isReal ? 64
                              : BitsOf(type),
                     kFirstPort + port, names->Port(static_cast<uint8_t>(port)));
    }
    dump.EndScope();
}

void VcdWriter::DeclareWatches() {
    dump.BeginScope("watches");
    for (uint32_t comparator = 0; comparator < signals.watches.size(); ++comparator) {
        for (uint32_t kind = 0; kind < VcdSignals::kWatches; ++kind) {
            if (!signals.watches[comparator][kind]) continue;
            dump.Declare("reg", 32, kFirstWatch + comparator * VcdSignals::kWatches + kind,
                         "watch_" + std::to_string(comparator) + "_" + kWatchNames[kind]);
        }
    }
    dump.EndScope();
}

void VcdWriter::DeclareCounters() {
    dump.BeginScope("counters");
    for (uint32_t counter = 0; counter < signals.counters.size(); ++counter) {
        if (!signals.counters[counter]) continue;
        const bool isPmu = counter >= kEventCounters.size();
        dump.Declare("reg", 32, kFirstCounter + counter,
                     "wraps_of_" + (isPmu ? "pmu" + std::to_string(counter - kEventCounters.size())
                                          : std::string(kEventCounters[counter])));
    }
    dump.EndScope();
    if (!signals.hasSamples) return;
    dump.BeginScope("samples");
    dump.Declare("reg", 32, kPc, "pc");
    dump.Declare("wire", 1, kAsleep, "asleep");
    dump.Declare("wire", 1, kProhibited, "prohibited");
    dump.Declare("string", 1, kFunction, "function");
    dump.EndScope();
}

/// Nothing is known of values yet; thread mode is what the recording begins with until it says otherwise.
void VcdWriter::DumpFirst() {
    dump.SetVector(kOverflows, 32, 0);
    dump.SetVector(kDamaged, 32, 0);
    dump.SetBit(kSuspect, '0');
    SetRunning();
    for (uint32_t port = 0; port < signals.ports.size(); ++port) {
        const auto type = names->TypeOf(static_cast<uint8_t>(port));
        if (signals.ports[port] && type != PortType::Text && type != PortType::F32) {
            dump.SetUnknown(kFirstPort + port);
        }
    }
    for (uint32_t i = 0; i < VcdSignals::kComparators * VcdSignals::kWatches; ++i) {
        const uint32_t kind = i % VcdSignals::kWatches;
        if (!signals.watches[i / VcdSignals::kWatches][kind]) continue;
        if (kind == VcdSignals::Match) {
            dump.SetVector(kFirstWatch + i, 32, 0);
        } else {
            dump.SetUnknown(kFirstWatch + i);
        }
    }
    for (uint32_t counter = 0; counter < signals.counters.size(); ++counter) {
        if (signals.counters[counter]) dump.SetVector(kFirstCounter + counter, 32, 0);
    }
    if (signals.hasSamples) {
        dump.SetUnknown(kPc);
        dump.SetBit(kAsleep, 'x');
        dump.SetBit(kProhibited, 'x');
    }
}

void VcdWriter::CountUp(uint32_t signal, uint32_t by) { dump.SetVector(signal, 32, counts[signal] += by); }

void VcdWriter::OnPacket(const Packet& packet, const Moment& moment) {
    dump.At(axis.Nanoseconds(moment.time));
    const bool isTime = packet.kind == PacketKind::LocalTime;
    if (!isTime && moment.IsSuspect() != suspect) {
        suspect = moment.IsSuspect();
        dump.SetBit(kSuspect, suspect ? '1' : '0');
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
    if (type != PortType::F32) return dump.SetVector(kFirstPort + port, BitsOf(type), packet.value);
    dump.SetReal(kFirstPort + port, static_cast<float>(*number));
}

void VcdWriter::SetWatch(const Packet& packet) {
    const uint32_t comparator = packet.source % VcdSignals::kComparators;
    const auto kind = VcdSignals::WatchOf(packet);
    const uint32_t signal = kFirstWatch + comparator * VcdSignals::kWatches + kind;
    if (!signals.watches[comparator][kind]) return;
    if (kind == VcdSignals::Match) return CountUp(signal, 1);
    dump.SetVector(signal, 32, packet.value);
}

void VcdWriter::SetSample(const Packet& packet) {
    if (!signals.hasSamples) return;
    const bool isPlace = packet.kind == PacketKind::PcSample;
    if (isPlace) {
        dump.SetVector(kPc, 32, packet.value);
    } else {
        dump.SetUnknown(kPc);
    }
    dump.SetBit(kAsleep, packet.kind == PacketKind::PcSleep ? '1' : '0');
    dump.SetBit(kProhibited, packet.kind == PacketKind::PcProhibited ? '1' : '0');
    const auto function = isPlace ? names->Function(packet.value) : std::string_view();
    dump.SetText(kFunction, !function.empty() ? function : !isPlace ? "-" : "?");
}

void VcdWriter::OnException(const Swo::ExceptionTimeline::Event& event, const Moment& moment) {
    dump.At(axis.Nanoseconds(moment.time));
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
        dump.SetBit(kFirstException + number, bit);
    }
    if (running.empty() && !known) return dump.SetUnknown(kRunning);
    dump.SetVector(kRunning, 9, running.empty() ? 0 : running.back());
}

void VcdWriter::OnLine(uint8_t port, std::string_view line, const Moment&, uint64_t end) {
    if (!signals.ports[port]) return;
    dump.At(axis.Nanoseconds(end));
    dump.SetText(kFirstPort + port, line);
}

void VcdWriter::OnEnd(uint64_t time) {
    // A time of its own, so that viewers show the last values.
    dump.At(axis.Nanoseconds(time) + 1);
}

}  // namespace Korr::Plim::Trace::Exports
