#include "exports/names.h"

#include <charconv>

namespace Korr::Plim::Trace::Exports {

using Swo::PacketKind;

namespace {

constexpr std::array<const char*, 5> kWatches = {"read", "write", "pc", "address", "match"};
constexpr std::size_t kRead = 0;
constexpr std::size_t kWrite = 1;
constexpr std::size_t kPc = 2;
constexpr std::size_t kAddress = 3;
constexpr std::size_t kMatch = 4;

}  // namespace

Names::Names(const CaptureFacts& facts) : symbols(facts.symbols) {
    for (uint32_t number = 0; number < exceptions.size(); ++number) {
        exceptions[number] =
            symbols != nullptr ? symbols->ExceptionName(number) : Symbols::ArchitectureExceptionName(number);
    }
    for (std::size_t port = 0; port < portNames.size(); ++port) {
        portNames[port] = "port " + std::to_string(port);
    }
    for (std::size_t comparator = 0; comparator < watchNames.size(); ++comparator) {
        for (std::size_t i = 0; i < kWatches.size(); ++i) {
            watchNames[comparator][i] = "watch " + std::to_string(comparator) + " " + kWatches[i];
        }
    }
    types.fill(Swo::PortType::Text);
    if (facts.ports == nullptr) return;
    for (const auto& [port, format] : *facts.ports) {
        types[port] = format.type;
        if (!format.name.empty()) portNames[port] += " (" + format.name + ")";
    }
}

std::string_view Names::Function(uint32_t address) const {
    const auto* const found = symbols != nullptr ? symbols->FunctionAt(address) : nullptr;
    return found != nullptr ? std::string_view(found->name) : std::string_view();
}

std::string_view Names::Object(uint32_t address) const {
    const auto* const found = symbols != nullptr ? symbols->ObjectAt(address) : nullptr;
    return found != nullptr ? std::string_view(found->name) : std::string_view();
}

const std::string& Names::Watch(const Swo::Packet& packet) const {
    const auto& names = watchNames[packet.source % watchNames.size()];
    switch (packet.kind) {
        case PacketKind::DataMatch:
            return names[kMatch];
        case PacketKind::DataPc:
            return names[kPc];
        case PacketKind::DataAddress:
            return names[kAddress];
        default:
            return names[(packet.flags & Swo::kWrite) != 0 ? kWrite : kRead];
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
