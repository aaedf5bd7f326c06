#pragma once

#include <array>
#include <string>
#include <string_view>

#include "exports/capture_writer.h"

namespace Korr::Plim::Trace::Exports {

/// What a capture's packets are called. Texts are the firmware's and the user's: any bytes.
class Names {
  public:
    explicit Names(const CaptureFacts& facts);

    /// "SysTick", or the firmware's handler. \param number 0 to 511
    const std::string& Exception(uint32_t number) const { return exceptions[number & kMostExceptions]; }
    /// The function at an address; empty when none is known.
    std::string_view Function(uint32_t address) const;
    /// The object at an address; empty when none is known.
    std::string_view Object(uint32_t address) const;
    /// "port 3", or "port 3 (speed)".
    const std::string& Port(uint8_t port) const { return portNames[port]; }
    /// "watch 1 write", "watch 0 pc". \param packet of a data watch
    const std::string& Watch(const Swo::Packet& packet) const;
    Swo::PortType TypeOf(uint8_t port) const { return types[port]; }
    /// What the firmware calls what a packet names: a function, object or exception; empty: nothing.
    std::string_view Symbol(const Swo::Packet& packet) const;

  private:
    static constexpr uint32_t kMostExceptions = Symbols::ElfSymbols::kMostExceptions - 1;

    const Symbols::ElfSymbols* symbols;
    std::array<std::string, 256> portNames;
    std::array<std::array<std::string, 5>, 16> watchNames;  ///< by comparator
    std::array<std::string, kMostExceptions + 1> exceptions;
    std::array<Swo::PortType, 256> types{};
};

/// "0x8000123", for what has no name.
std::string HexadecimalText(uint32_t number);

}  // namespace Korr::Plim::Trace::Exports
