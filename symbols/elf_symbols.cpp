#include "symbols/elf_symbols.h"

#include <algorithm>
#include <array>
#include <optional>
#include <tuple>
#include <utility>

#include "symbols/demangle.h"

namespace Korr::Plim::Trace::Symbols {

namespace {

constexpr uint32_t kSymbolTable = 2;    // SHT_SYMTAB
constexpr uint32_t kDynamicTable = 11;  // SHT_DYNSYM
constexpr uint32_t kSymbolSize = 16;
constexpr uint32_t kTypeObject = 1;
constexpr uint32_t kTypeFunction = 2;
constexpr uint16_t kUndefined = 0;
constexpr uint32_t kFirstInterrupt = 16;
constexpr int kNeighbours = 16;  // how far back a symbol that encloses others is looked for

constexpr std::array<const char*, kFirstInterrupt> kArchitecture = {
    "Thread",       "Reset",       "NMI",        "HardFault",  "MemManage",   "BusFault",
    "UsageFault",   "SecureFault", "Reserved 8", "Reserved 9", "Reserved 10", "SVCall",
    "DebugMonitor", "Reserved 13", "PendSV",     "SysTick"};

/// A symbol with what decides between several at one address.
struct Candidate {
    uint32_t address;
    uint32_t rank;  // 0 global, 1 weak, 2 any other
    std::string_view name;
    uint32_t size;
    uint32_t sectionEnd;  // 0: unknown

    bool operator<(const Candidate& other) const {
        return std::tie(address, rank, name, size) <
               std::tie(other.address, other.rank, other.name, other.size);
    }
};

uint32_t RankOfBinding(uint32_t binding) {
    if (binding == 1) return 0;
    return binding == 2 ? 1 : 2;
}

uint32_t SectionEnd(const ElfFile& file, uint16_t index) {
    if (index >= file.Sections().size()) return 0;
    const ElfSection& section = file.Sections()[index];
    return static_cast<uint32_t>(std::min<uint64_t>(uint64_t{section.address} + section.size, UINT32_MAX));
}

/// What names may still take, of functions and objects together.
struct Budget {
    std::size_t bytes = ElfSymbols::kMostNames;
    uint64_t demangling = kMostDemangling;
};

/// One symbol an address, with the sizes that the file leaves out.
std::vector<Symbol> Settle(std::vector<Candidate>& candidates, Budget& budget) {
    std::sort(candidates.begin(), candidates.end());
    const auto same = [](const Candidate& a, const Candidate& b) { return a.address == b.address; };
    // The first of an address is the best name; any of its names may be the one that tells the size.
    for (std::size_t i = candidates.size(); i-- > 1;) {
        if (same(candidates[i - 1], candidates[i]) && candidates[i - 1].size == 0) {
            candidates[i - 1].size = candidates[i].size;
        }
    }
    candidates.erase(std::unique(candidates.begin(), candidates.end(), same), candidates.end());
    std::vector<Symbol> symbols;
    symbols.reserve(candidates.size());
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        const Candidate& taken = candidates[i];
        uint32_t size = taken.size;
        if (size == 0) {
            uint32_t end = taken.sectionEnd;
            if (i + 1 < candidates.size() && (end == 0 || candidates[i + 1].address < end)) {
                end = candidates[i + 1].address;
            }
            size = end > taken.address ? end - taken.address : 1;
        }
        std::string name = Demangle(std::string(taken.name), budget.demangling);
        if (name.size() > budget.bytes) break;
        budget.bytes -= name.size();
        symbols.push_back({taken.address, size, std::move(name)});
    }
    return symbols;
}

const ElfSection* FindTable(const ElfFile& file) {
    for (const uint32_t type : {kSymbolTable, kDynamicTable}) {
        for (const ElfSection& section : file.Sections()) {
            if (section.type == type) return &section;
        }
    }
    return nullptr;
}

/// Where the vector table begins: its own section, else the image's lowest address.
std::optional<uint32_t> VectorTable(const ElfFile& file) {
    for (const ElfSection& section : file.Sections()) {
        for (const char* const name : {".isr_vector", ".vectors", ".vector_table", ".intvec", "vectors"}) {
            if (section.name == name && section.size > 0) return section.address;
        }
    }
    std::optional<uint32_t> lowest;
    for (const ElfSegment& segment : file.Segments()) {
        if (segment.fileSize > 0 && (!lowest || segment.virtualAddress < *lowest)) {
            lowest = segment.virtualAddress;
        }
    }
    return lowest;
}

/// Exceptions that the older ones of the architectures do not have. What stands there instead is the
/// vendor's, such as a checksum.
bool IsReserved(uint32_t number) { return (number >= 7 && number <= 10) || number == 13; }

}  // namespace

std::string ArchitectureExceptionName(uint32_t number) {
    return number < kFirstInterrupt ? kArchitecture[number]
                                    : "IRQ " + std::to_string(number - kFirstInterrupt);
}

ElfSymbols::ElfSymbols(const ElfFile& file) {
    ReadSymbols(file);
    ReadVectors(file);
}

void ElfSymbols::ReadSymbols(const ElfFile& file) {
    const ElfSection* const table = FindTable(file);
    if (table == nullptr || table->link >= file.Sections().size()) return;
    const auto entries = file.Content(*table);
    const auto names = file.Content(file.Sections()[table->link]);
    const std::size_t stride = std::max(table->entrySize, kSymbolSize);
    std::vector<Candidate> code;
    std::vector<Candidate> data;
    for (std::size_t i = 0; i < entries.size() / stride && i < kMostSymbols; ++i) {
        const auto entry = entries.subspan(i * stride, kSymbolSize);
        const uint32_t type = entry[12] & 0xFU;
        const uint16_t section = ElfHalf(entry, 14);
        const std::string_view name = ElfFile::Text(names, ElfWord(entry, 0));
        if (section == kUndefined || name.empty() || (type != kTypeFunction && type != kTypeObject)) continue;
        const uint32_t address = ElfWord(entry, 4) & ~(type == kTypeFunction ? 1U : 0U);
        (type == kTypeFunction ? code : data)
            .push_back(
                {address, RankOfBinding(entry[12] >> 4), name, ElfWord(entry, 8), SectionEnd(file, section)});
    }
    Budget budget;
    functions = Settle(code, budget);
    objects = Settle(data, budget);
}

void ElfSymbols::ReadVectors(const ElfFile& file) {
    const std::optional<uint32_t> table = VectorTable(file);
    if (!table) return;
    std::map<uint32_t, uint32_t> uses;     // of a handler's address
    std::map<uint32_t, uint32_t> targets;  // handler's address by exception number
    for (uint32_t number = 1; number < kMostExceptions; ++number) {
        const std::optional<uint32_t> word = file.WordAt(*table + 4 * number);
        if (!word) break;
        if ((*word & 1U) == 0) {
            if (*word == 0 || IsReserved(number)) continue;
            break;  // not code of this architecture: behind the table's end
        }
        targets[number] = *word & ~1U;
        ++uses[*word & ~1U];
    }
    for (const auto& [number, address] : targets) {
        const Symbol* const handler = FunctionAt(address);
        if (handler != nullptr && handler->address == address && uses[address] == 1) {
            handlers[number] = handler->name;
        }
    }
}

const Symbol* ElfSymbols::Find(const std::vector<Symbol>& symbols, uint32_t address) {
    auto place =
        std::upper_bound(symbols.begin(), symbols.end(), address,
                         [](uint32_t wanted, const Symbol& symbol) { return wanted < symbol.address; });
    for (int back = 0; back < kNeighbours && place != symbols.begin(); ++back) {
        --place;
        if (address - place->address < place->size) return &*place;
    }
    return nullptr;
}

std::string ElfSymbols::ExceptionName(uint32_t number) const {
    const auto handler = number == 0 ? handlers.end() : handlers.find(number);
    return handler != handlers.end() ? handler->second : ArchitectureExceptionName(number);
}

}  // namespace Korr::Plim::Trace::Symbols
