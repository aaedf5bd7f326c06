#include "tests/unit/symbols/elf_builder.h"

#include <map>

namespace {

void Half(std::vector<uint8_t>& out, uint32_t value) {
    out.push_back(static_cast<uint8_t>(value));
    out.push_back(static_cast<uint8_t>(value >> 8));
}

void Word(std::vector<uint8_t>& out, uint32_t value) {
    Half(out, value & 0xFFFF);
    Half(out, value >> 16);
}

uint32_t AddText(std::vector<uint8_t>& table, const std::string& text) {
    const auto offset = static_cast<uint32_t>(table.size());
    table.insert(table.end(), text.begin(), text.end());
    table.push_back(0);
    return offset;
}

struct Section {
    uint32_t name, type, address, offset, size, link, entrySize;
};

}  // namespace

std::vector<uint8_t> ElfBuilder::Build() const {
    std::vector<uint8_t> names(1, 0);
    std::vector<uint8_t> strings(1, 0);
    std::vector<uint8_t> table(entrySize, 0);  // the first symbol is nobody's
    std::map<std::string, uint32_t> texts;
    for (const Entry& symbol : symbols) {
        const auto known = texts.find(symbol.name);
        const uint32_t name = known != texts.end() ? known->second : AddText(strings, symbol.name);
        texts.emplace(symbol.name, name);
        std::vector<uint8_t> entry;
        Word(entry, name);
        Word(entry, symbol.value);
        Word(entry, symbol.size);
        entry.push_back(static_cast<uint8_t>(symbol.binding << 4 | symbol.type));
        entry.push_back(0);
        Half(entry, symbol.section);
        entry.resize(entrySize);
        table.insert(table.end(), entry.begin(), entry.end());
    }
    const auto textSize = static_cast<uint32_t>(4 * text.size());
    const uint32_t textOffset = 52 + 32;
    const uint32_t tableOffset = textOffset + textSize;
    const auto tableSize = static_cast<uint32_t>(table.size());
    const uint32_t stringsOffset = tableOffset + tableSize;
    const uint32_t textLabel = AddText(names, textName);
    const uint32_t bssLabel = AddText(names, ".bss");
    const uint32_t tableLabel = AddText(names, ".symtab");
    const uint32_t stringsLabel = AddText(names, ".strtab");
    const uint32_t namesLabel = AddText(names, ".shstrtab");
    const uint32_t namesOffset = stringsOffset + static_cast<uint32_t>(strings.size());
    const uint32_t headersOffset = namesOffset + static_cast<uint32_t>(names.size());
    const std::vector<Section> sections = {
        {0, 0, 0, 0, 0, 0, 0},
        {textLabel, 1, textAddress, textOffset, textSize, 0, 0},
        {bssLabel, 8, 0x20000000, textOffset, 0x100, 0, 0},
        {tableLabel, tableType, 0, tableOffset, tableSize, 4, entrySize},
        {stringsLabel, 3, 0, stringsOffset, static_cast<uint32_t>(strings.size()), 0, 0},
        {namesLabel, 3, 0, namesOffset, static_cast<uint32_t>(names.size()), 0, 0}};

    std::vector<uint8_t> file = {0x7F, 'E', 'L', 'F', 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    Half(file, 2);   // executable
    Half(file, 40);  // ARM
    Word(file, 1);
    Word(file, textAddress);
    Word(file, 52);  // program headers
    Word(file, headersOffset);
    Word(file, 0x05000200);
    for (const uint32_t half : {52U, 32U, 1U, 40U, static_cast<uint32_t>(sections.size()), 5U}) {
        Half(file, half);
    }
    for (const uint32_t word : {1U, textOffset, textAddress, textAddress, textSize, textSize, 5U, 4U}) {
        Word(file, word);
    }
    for (const uint32_t word : text) Word(file, word);
    file.insert(file.end(), table.begin(), table.end());
    file.insert(file.end(), strings.begin(), strings.end());
    file.insert(file.end(), names.begin(), names.end());
    for (const Section& section : sections) {
        for (const uint32_t word : {section.name, section.type, 0U, section.address, section.offset,
                                    section.size, section.link, 0U, 4U, section.entrySize}) {
            Word(file, word);
        }
    }
    return file;
}
