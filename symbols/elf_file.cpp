#include "symbols/elf_file.h"

#include <algorithm>
#include <cstring>

namespace Korr::Plim::Trace::Symbols {

namespace {

constexpr std::size_t kHeaderSize = 52;
constexpr std::size_t kSectionHeaderSize = 40;
constexpr std::size_t kProgramHeaderSize = 32;
constexpr uint8_t kClass32 = 1;
constexpr uint8_t kLittleEndian = 1;
constexpr uint16_t kMachineArm = 40;
constexpr uint32_t kSectionWithoutBytes = 8;  // SHT_NOBITS
constexpr uint32_t kSegmentLoad = 1;          // PT_LOAD

}  // namespace

uint32_t ElfWord(std::span<const uint8_t> bytes, std::size_t offset) {
    return static_cast<uint32_t>(bytes[offset]) | static_cast<uint32_t>(bytes[offset + 1]) << 8 |
           static_cast<uint32_t>(bytes[offset + 2]) << 16 | static_cast<uint32_t>(bytes[offset + 3]) << 24;
}

uint16_t ElfHalf(std::span<const uint8_t> bytes, std::size_t offset) {
    return static_cast<uint16_t>(bytes[offset] | bytes[offset + 1] << 8);
}

ElfFile::ElfFile(std::span<const uint8_t> bytes) : file(bytes) {
    if (file.size() > kLargestFile) throw ElfError("the file is larger than 64 MiB");
    if (file.size() < kHeaderSize || std::memcmp(file.data(), "\177ELF", 4) != 0) {
        throw ElfError("this is no ELF file");
    }
    if (file[4] != kClass32 || file[5] != kLittleEndian || ElfHalf(file, 18) != kMachineArm) {
        throw ElfError("this is no ELF file of a 32-bit little-endian ARM target");
    }
    ReadSections();
    ReadSegments();
}

std::span<const uint8_t> ElfFile::Part(uint64_t offset, uint64_t size) const {
    if (offset > file.size() || size > file.size() - offset) return {};
    return file.subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(size));
}

void ElfFile::ReadSections() {
    const uint64_t start = ElfWord(file, 32);
    const uint64_t stride = ElfHalf(file, 46);
    if (start == 0 || stride < kSectionHeaderSize) return;
    const auto first = Part(start, kSectionHeaderSize);
    if (first.empty()) return;
    // More than 65,279 sections: their number stands in the first one.
    const uint32_t count = ElfHalf(file, 48) != 0 ? ElfHalf(file, 48) : ElfWord(first, 20);
    std::vector<uint32_t> names;
    for (uint32_t i = 0; i < std::min(count, kMostSections); ++i) {
        const auto header = Part(start + i * stride, kSectionHeaderSize);
        if (header.empty()) break;
        names.push_back(ElfWord(header, 0));
        sections.push_back({{},
                            ElfWord(header, 4),
                            ElfWord(header, 12),
                            ElfWord(header, 16),
                            ElfWord(header, 20),
                            ElfWord(header, 24),
                            ElfWord(header, 36)});
    }
    const uint32_t nameTable = ElfHalf(file, 50);
    if (nameTable >= sections.size()) return;
    const auto table = Content(sections[nameTable]);
    for (std::size_t i = 0; i < sections.size(); ++i) sections[i].name = Text(table, names[i]);
}

void ElfFile::ReadSegments() {
    const uint64_t start = ElfWord(file, 28);
    const uint64_t stride = ElfHalf(file, 42);
    if (start == 0 || stride < kProgramHeaderSize) return;
    for (uint32_t i = 0; i < ElfHalf(file, 44); ++i) {
        const auto header = Part(start + i * stride, kProgramHeaderSize);
        if (header.empty()) return;
        if (ElfWord(header, 0) != kSegmentLoad) continue;
        segments.push_back(
            {ElfWord(header, 4), ElfWord(header, 8), ElfWord(header, 12), ElfWord(header, 16)});
    }
}

std::span<const uint8_t> ElfFile::Content(const ElfSection& section) const {
    if (section.type == kSectionWithoutBytes) return {};
    return Part(section.offset, section.size);
}

std::string_view ElfFile::Text(std::span<const uint8_t> table, uint32_t offset) {
    if (offset >= table.size()) return {};
    const auto rest = table.subspan(offset, std::min(table.size() - offset, kLongestText + 1));
    const auto* const text = reinterpret_cast<const char*>(rest.data());
    const void* const end = std::memchr(text, 0, rest.size());
    if (end == nullptr) return {};
    return {text, static_cast<std::size_t>(static_cast<const char*>(end) - text)};
}

std::optional<uint32_t> ElfFile::WordAt(uint32_t address) const {
    for (const ElfSegment& segment : segments) {
        if (address < segment.virtualAddress) continue;
        const uint64_t inside = address - segment.virtualAddress;
        if (inside + 4 > segment.fileSize) continue;
        const auto bytes = Part(segment.offset + inside, 4);
        if (!bytes.empty()) return ElfWord(bytes, 0);
    }
    return std::nullopt;
}

}  // namespace Korr::Plim::Trace::Symbols
