#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// Makes the ELF file of a small firmware: one .text section that is loaded, one .bss, a symbol table.
/// Written from the file format alone, not from the reader. Symbols of one name share its text.
struct ElfBuilder {
    struct Entry {
        std::string name;
        uint32_t value = 0;
        uint32_t size = 0;
        uint32_t type = 2;     // 1 object, 2 function
        uint32_t binding = 1;  // 0 local, 1 global, 2 weak
        uint16_t section = 1;
    };

    uint32_t textAddress = 0x08000000;
    std::vector<uint32_t> text = std::vector<uint32_t>(64, 0);  ///< words of the image
    std::string textName = ".text";
    uint32_t tableType = 2;  ///< SHT_SYMTAB; 11: SHT_DYNSYM
    uint32_t entrySize = 16;
    std::vector<Entry> symbols;

    std::vector<uint8_t> Build() const;
};
