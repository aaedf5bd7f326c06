#include "exports/vcd_signals.h"

namespace Korr::Plim::Trace::Exports {

using Swo::PacketKind;

VcdSignals::Watch VcdSignals::WatchOf(const Swo::Packet& packet) {
    switch (packet.kind) {
        case PacketKind::DataPc:
            return Pc;
        case PacketKind::DataAddress:
            return Address;
        case PacketKind::DataMatch:
            return Match;
        default:
            return (packet.flags & Swo::kWrite) != 0 ? Write : Read;
    }
}

void VcdSignals::Note(const Swo::Packet& packet) {
    switch (packet.kind) {
        case PacketKind::Exception:
            exceptions.set(packet.source % exceptions.size());
            break;
        case PacketKind::Stimulus:
            ports.set(packet.source % ports.size());
            break;
        case PacketKind::DataPc:
        case PacketKind::DataAddress:
        case PacketKind::DataMatch:
        case PacketKind::DataValue:
            watches[packet.source % kComparators].set(WatchOf(packet));
            break;
        case PacketKind::EventCounters:
            counters |= packet.value & 0x3F;
            break;
        case PacketKind::PmuOverflow:
            counters |= (packet.value & 0xFF) << 6;
            break;
        case PacketKind::PcSample:
        case PacketKind::PcSleep:
        case PacketKind::PcProhibited:
            hasSamples = true;
            break;
        default:
            break;
    }
}

}  // namespace Korr::Plim::Trace::Exports
