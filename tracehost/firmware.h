#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "symbols/elf_symbols.h"

namespace Korr::Plim::Trace::Tracehost {

/// Adds "--elf", the file of the firmware that was traced.
CLI::Option* AddElf(CLI::App& command, std::string& file);

/// The names in a firmware's ELF file. \throws UsageError when it cannot be read or is none; HostError when
/// it cannot be read to its end
std::unique_ptr<Symbols::ElfSymbols> ReadFirmware(const std::string& file);

}  // namespace Korr::Plim::Trace::Tracehost
