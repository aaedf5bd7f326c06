#include "exports/packet_fields.h"

#include <array>

namespace Korr::Plim::Trace::Exports {

namespace {

using Swo::PacketKind;

bool HasSource(PacketKind kind) {
    switch (kind) {
        case PacketKind::Stimulus:
        case PacketKind::Exception:
        case PacketKind::DataMatch:
        case PacketKind::DataPc:
        case PacketKind::DataAddress:
        case PacketKind::DataValue:
        case PacketKind::UnknownHardware:
            return true;
        default:
            return false;
    }
}

std::string_view FunctionOf(const Swo::Packet& packet) {
    static constexpr std::array<std::string_view, 4> kException = {"", "enter", "exit", "return"};
    if (packet.kind == PacketKind::Exception) return kException[packet.flags & Swo::kKindFlags];
    if (packet.kind == PacketKind::DataValue) return (packet.flags & Swo::kWrite) != 0 ? "write" : "read";
    return "";
}

}  // namespace

std::string_view FlagNames(uint8_t flags) {
    const bool suspect = (flags & Swo::kSuspect) != 0;
    const bool salvaged = (flags & Swo::kSalvaged) != 0;
    if (suspect) return salvaged ? "suspect+salvaged" : "suspect";
    return salvaged ? "salvaged" : "";
}

PacketFields FieldsOf(const Swo::Packet& packet) {
    PacketFields fields{};
    const bool run = Swo::IsByteRun(packet.kind);
    fields.hasSource = HasSource(packet.kind);
    fields.hasValue = !run && packet.kind != PacketKind::Overflow;
    fields.size = run ? packet.length : packet.size;
    fields.function = FunctionOf(packet);
    fields.flags = FlagNames(packet.flags);
    return fields;
}

}  // namespace Korr::Plim::Trace::Exports
