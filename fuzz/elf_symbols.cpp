// Any bytes as a firmware's ELF file.
#include "symbols/elf_symbols.h"

#include "fuzz/targets.h"

namespace fuzz {
namespace {

using namespace Korr::Plim::Trace::Symbols;

void CheckSymbols(const std::vector<Symbol>& symbols) {
    for (std::size_t i = 0; i < symbols.size(); ++i) {
        Require(!symbols[i].name.empty() && symbols[i].size > 0, "a symbol has a name and a size");
        Require(i == 0 || symbols[i - 1].address < symbols[i].address,
                "one symbol an address, in their order");
    }
}

}  // namespace

void FuzzElfSymbols(std::string_view input) {
    try {
        const ElfSymbols symbols{ElfFile({reinterpret_cast<const uint8_t*>(input.data()), input.size()})};
        CheckSymbols(symbols.Functions());
        CheckSymbols(symbols.Objects());
        for (const Symbol& symbol : symbols.Functions()) {
            const Symbol* const found = symbols.FunctionAt(symbol.address | 1U);
            Require(found == &symbol, "a function is found at its first byte");
        }
        for (uint32_t number = 0; number < ElfSymbols::kMostExceptions; ++number) {
            Require(!symbols.ExceptionName(number).empty(), "every exception has a name");
        }
    } catch (const ElfError& error) {
        Require(std::string(error.what()).find("ELF file") != std::string::npos, "a refusal in words");
    }
}

}  // namespace fuzz
