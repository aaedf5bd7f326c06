#include "exports/names.h"

#include <charconv>

namespace Korr::Plim::Trace::Exports {

using Swo::PacketKind;

Names::Names(const CaptureFacts& facts) : symbols(facts.symbols), ports(facts.ports) {
    for (uint32_t number = 0; number < exceptions.size(); ++number) {
        exceptions[number] =
            symbols != nullptr ? symbols->ExceptionName(number) : Symbols::ArchitectureExceptionName(number);
    }
    types.fill(Swo::PortType::Text);
    if (ports == nullptr) return;
    for (const auto& [port, format] : *ports) types[port] = format.type;
}

std::string_view Names::Function(uint32_t address) const {
    const auto* const found = symbols != nullptr ? symbols->FunctionAt(address) : nullptr;
    return found != nullptr ? std::string_view(found->name) : std::string_view();
}

std::string_view Names::Object(uint32_t address) const {
    const auto* const found = symbols != nullptr ? symbols->ObjectAt(address) : nullptr;
    return found != nullptr ? std::string_view(found->name) : std::string_view();
}

std::string Names::Port(uint8_t port) const {
    const std::string number = "port " + std::to_string(port);
    if (ports == nullptr) return number;
    const auto format = ports->find(port);
    return format == ports->end() || format->second.name.empty() ? number
                                                                 : number + " (" + format->second.name + ")";
}

std::string Names::Watch(const Swo::Packet& packet) {
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

std::string HexadecimalText(uint32_t number) {
    std::array<char, 10> text{'0', 'x'};
    return {text.data(), std::to_chars(text.data() + 2, text.data() + text.size(), number, 16).ptr};
}

std::string_view Names::Symbol(const Swo::Packet& packet) const {
    if (symbols == nullptr) return {};
    const bool whole = packet.size == 4;  // of a shorter address the upper bits are not known
    switch (packet.kind) {
        case PacketKind::Exception:
            return Exception(packet.source);
        case PacketKind::PcSample:
            return Function(packet.value);
        case PacketKind::DataPc:
            return whole ? Function(packet.value) : std::string_view();
        case PacketKind::DataAddress:
            return whole ? Object(packet.value) : std::string_view();
        default:
            return {};
    }
}

}  // namespace Korr::Plim::Trace::Exports
