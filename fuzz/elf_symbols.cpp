// Any bytes as a firmware's ELF file, when they begin as one; all others say what stands in a sound file,
// whose symbols must be those that a slow look through them finds.
#include "symbols/elf_symbols.h"

#include <map>

#include "fuzz/targets.h"
#include "symbols/demangle.h"
#include "symbols/demangled_size.h"
#include "tests/unit/symbols/elf_builder.h"

namespace fuzz {
namespace {

using namespace Korr::Plim::Trace::Symbols;

constexpr int kNeighbours = 16;  // so far back a symbol that encloses others is found
constexpr uint32_t kImage = 0x08000000;

/// What is left of the input; zeros behind its end.
class Rest {
  public:
    explicit Rest(std::string_view input) : left(input) {}
    bool Empty() const { return left.empty(); }
    uint32_t Number(int bytes) {
        uint32_t number = 0;
        for (int i = 0; i < bytes; ++i) number |= Byte() << 8 * i;
        return number;
    }
    std::string Text(std::size_t size) {
        const std::string text(left.substr(0, size));
        left.remove_prefix(text.size());
        return text.substr(0, text.find('\0'));
    }

  private:
    uint32_t Byte() {
        if (left.empty()) return 0;
        const auto byte = static_cast<unsigned char>(left[0]);
        left.remove_prefix(1);
        return byte;
    }
    std::string_view left;
};

/// An address near others, or any.
uint32_t AddressOf(Rest& rest) {
    const uint32_t place = rest.Number(1);
    return place == 0xFF ? rest.Number(4) : kImage + place;
}

/// Two bytes about the file, eight words of the vector table, then symbols.
ElfBuilder FirmwareOf(std::string_view input) {
    Rest rest(input);
    ElfBuilder firmware;
    const uint32_t kind = rest.Number(1);
    if ((kind & 1) != 0) firmware.tableType = 11;
    if ((kind & 2) != 0) firmware.entrySize = 24;
    if ((kind & 4) != 0) firmware.textName = ".isr_vector";
    if ((kind & 8) != 0) firmware.textAddress = 0xFFFFFF00;
    const uint32_t first = rest.Number(1);
    for (uint32_t i = 0; i < 8; ++i) firmware.text[(first + i) % firmware.text.size()] = AddressOf(rest);
    while (!rest.Empty()) {
        ElfBuilder::Entry symbol;
        symbol.value = AddressOf(rest);
        symbol.size = rest.Number(1);
        if (symbol.size == 0xFF) symbol.size = rest.Number(4);
        const uint32_t info = rest.Number(1);
        symbol.type = info & 3;
        symbol.binding = info >> 2 & 3;
        symbol.section = static_cast<uint16_t>((info & 0x80) != 0 ? rest.Number(2) : info >> 4 & 7);
        symbol.name = rest.Text(rest.Number((info & 0x40) != 0 ? 2 : 1));
        firmware.symbols.push_back(symbol);
    }
    return firmware;
}

/// What is known of an address, name by name in the order in which they count.
using Names = std::map<std::pair<uint32_t, std::string>, uint32_t>;  // by rank; with the size

std::map<uint32_t, Names> NamesOf(const ElfBuilder& firmware, uint32_t type) {
    std::map<uint32_t, Names> all;
    for (const ElfBuilder::Entry& symbol : firmware.symbols) {
        const bool tells = !symbol.name.empty() && symbol.name.size() <= ElfFile::kLongestText;
        if (symbol.type != type || symbol.section == 0 || !tells) continue;
        const uint32_t rank = symbol.binding == 1 ? 0 : symbol.binding == 2 ? 1 : 2;
        uint32_t& size = all[type == 2 ? symbol.value & ~1U : symbol.value][{rank, symbol.name}];
        if (size == 0 || (symbol.size != 0 && symbol.size < size)) size = symbol.size;
    }
    return all;
}

/// \param room see Demangle
void CompareNames(const ElfBuilder& firmware, uint32_t type, const std::vector<Symbol>& found,
                  uint64_t& room) {
    const auto expected = NamesOf(firmware, type);
    Require(found.size() == expected.size(), "a symbol for each address that has a name");
    for (const Symbol& symbol : found) {
        const auto names = expected.find(symbol.address);
        Require(names != expected.end(), "an address that has a name");
        const std::string& best = names->second.begin()->first.second;
        Require(symbol.name == Demangle(best, room), "the best name");
        for (const auto& [name, size] : names->second) {
            if (size == 0) continue;
            Require(symbol.size == size, "the size that the first name tells that tells one");
            break;
        }
    }
}

const Symbol* SlowlyFound(const std::vector<Symbol>& symbols, uint32_t address) {
    int looked = 0;
    for (std::size_t i = symbols.size(); i-- > 0;) {
        if (symbols[i].address > address) continue;
        if (looked++ == kNeighbours) return nullptr;
        if (address - symbols[i].address < symbols[i].size) return &symbols[i];
    }
    return nullptr;
}

void CheckSymbols(const std::vector<Symbol>& symbols) {
    for (std::size_t i = 0; i < symbols.size(); ++i) {
        Require(!symbols[i].name.empty() && symbols[i].size > 0, "a symbol has a name and a size");
        Require(symbols[i].name.size() <= ElfFile::kLongestText, "a name is no longer than it may be");
        Require(i == 0 || symbols[i - 1].address < symbols[i].address,
                "one symbol an address, in their order");
    }
}

void CheckAll(const ElfSymbols& symbols) {
    CheckSymbols(symbols.Functions());
    CheckSymbols(symbols.Objects());
    for (const Symbol& symbol : symbols.Functions()) {
        Require(symbols.FunctionAt(symbol.address | 1U) == &symbol, "a function is found at its first byte");
    }
    for (uint32_t number = 0; number < ElfSymbols::kMostExceptions; ++number) {
        Require(!symbols.ExceptionName(number).empty(), "every exception has a name");
    }
}

void CheckSound(const ElfBuilder& firmware) {
    const auto bytes = firmware.Build();
    const ElfSymbols symbols{ElfFile(bytes)};
    CheckAll(symbols);
    uint64_t room = kMostDemangling;
    CompareNames(firmware, 2, symbols.Functions(), room);
    CompareNames(firmware, 1, symbols.Objects(), room);
    for (const ElfBuilder::Entry& symbol : firmware.symbols) {
        for (const uint32_t address : {symbol.value - 1, symbol.value, symbol.value + symbol.size - 1,
                                       symbol.value + symbol.size, symbol.value + 0x40}) {
            Require(symbols.ObjectAt(address) == SlowlyFound(symbols.Objects(), address), "object");
            Require(symbols.FunctionAt(address) == SlowlyFound(symbols.Functions(), address & ~1U),
                    "function");
        }
        room = kMostDemangling;
        const std::string shown = Demangle(symbol.name, room);
        const auto made = static_cast<double>(kMostDemangling - room);
        Require(made <= MostDemangled(symbol.name), "no longer than was foreseen");
        Require(shown == symbol.name || shown.size() <= ElfFile::kLongestText, "a name as in the source");
    }
}

}  // namespace

void FuzzElfSymbols(std::string_view input) {
    if (!input.empty() && input[0] != '\x7F') return CheckSound(FirmwareOf(input));
    try {
        CheckAll(ElfSymbols{ElfFile({reinterpret_cast<const uint8_t*>(input.data()), input.size()})});
    } catch (const ElfError& error) {
        Require(std::string(error.what()).find("ELF file") != std::string::npos, "a refusal in words");
    }
}

}  // namespace fuzz
