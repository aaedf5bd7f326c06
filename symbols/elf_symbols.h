#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "symbols/elf_file.h"

namespace Korr::Plim::Trace::Symbols {

/// A function or object of the firmware.
struct Symbol {
    uint32_t address = 0;  ///< first byte; of a function without the Thumb bit
    uint32_t size = 0;     ///< bytes; where the file tells none, up to the next symbol or the section's end
    std::string name;      ///< as the source has it, where that can be told
};

/// The architecture's name of an exception: "SysTick", "IRQ 12"; 0 is "Thread".
std::string ArchitectureExceptionName(uint32_t number);

/// The names in a firmware's ELF file: of functions and objects by address, of exceptions by number. Owns all
/// that it tells; the file's bytes are not needed any more. Reading takes at most kMostSymbols symbols, and
/// as many of these, from the lowest address on, as have kMostNames bytes of names. Any thread.
class ElfSymbols {
  public:
    static constexpr uint32_t kMostSymbols = 1U << 20;
    static constexpr std::size_t kMostNames = 64U << 20;
    static constexpr uint32_t kMostExceptions = 512;  ///< numbers 0 to 511, as trace packets can name them

    explicit ElfSymbols(const ElfFile& file);

    /// In the order of their addresses, one at each address: of several names at one address the global one
    /// is taken, then the weak one, then the first in alphabetical order.
    const std::vector<Symbol>& Functions() const { return functions; }
    const std::vector<Symbol>& Objects() const { return objects; }

    /// The function or object that an address lies in; null when in none. The Thumb bit of a code address
    /// counts not.
    const Symbol* FunctionAt(uint32_t address) const { return Find(functions, address & ~1U); }
    const Symbol* ObjectAt(uint32_t address) const { return Find(objects, address); }

    /// Name of an exception: the handler's in the firmware's vector table, when it is that exception's alone;
    /// else the architecture's ("SysTick", "IRQ 12"). 0 is "Thread".
    std::string ExceptionName(uint32_t number) const;

  private:
    static const Symbol* Find(const std::vector<Symbol>& symbols, uint32_t address);
    void ReadSymbols(const ElfFile& file);
    void ReadVectors(const ElfFile& file);

    std::vector<Symbol> functions;
    std::vector<Symbol> objects;
    std::map<uint32_t, std::string> handlers;  ///< by exception number
};

}  // namespace Korr::Plim::Trace::Symbols
