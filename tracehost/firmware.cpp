#include "tracehost/firmware.h"

#include <algorithm>
#include <vector>

#include "tracehost/byte_source.h"
#include "tracehost/errors.h"
#include "tracehost/number_option.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

/// At most one byte more than can be taken, which is refused by its size.
std::vector<uint8_t> ReadWhole(const std::string& file) {
    constexpr std::size_t kReadAtOnce = 1 << 20;
    FileSource source(file);
    std::vector<uint8_t> bytes;
    for (;;) {
        const std::size_t done = bytes.size();
        bytes.resize(std::min(done + kReadAtOnce, Symbols::ElfFile::kLargestFile + 1));
        const std::size_t count = source.Read(std::span(bytes).subspan(done));
        bytes.resize(done + count);
        if (count == 0) return bytes;
    }
}

}  // namespace

CLI::Option* AddElf(CLI::App& command, std::string& file) {
    return AddText(command, "--elf", "FILE",
                   "ELF file of the firmware, for names of functions and exceptions", file);
}

std::unique_ptr<Symbols::ElfSymbols> ReadFirmware(const std::string& file) {
    const std::vector<uint8_t> bytes = ReadWhole(file);
    try {
        return std::make_unique<Symbols::ElfSymbols>(Symbols::ElfFile(bytes));
    } catch (const Symbols::ElfError& error) {
        throw UsageError("--elf \"" + file + "\": " + error.what());
    }
}

}  // namespace Korr::Plim::Trace::Tracehost
