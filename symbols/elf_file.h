#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Korr::Plim::Trace::Symbols {

/// Why a file is not taken as a firmware's ELF file; the text says it to a user.
class ElfError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// One section header, as far as it is needed. Offsets and sizes are in bytes and not checked against the
/// file.
struct ElfSection {
    std::string_view name;  ///< empty when the file names none; points into the file's bytes
    uint32_t type = 0;
    uint32_t address = 0;
    uint32_t offset = 0;
    uint32_t size = 0;
    uint32_t link = 0;
    uint32_t entrySize = 0;
};

/// A part of the image that a debugger loads into the target.
struct ElfSegment {
    uint32_t offset = 0;
    uint32_t virtualAddress = 0;
    uint32_t physicalAddress = 0;
    uint32_t fileSize = 0;
};

/// A 32-bit little-endian ELF file in memory, read with every offset checked: whatever the bytes are, a part
/// that does not lie in the file is absent. Does not own the bytes; they must outlive it. Any thread.
class ElfFile {
  public:
    static constexpr std::size_t kLargestFile = 64U << 20;  ///< bytes
    static constexpr uint32_t kMostSections = 1U << 16;

    /// \throws ElfError when the bytes are no 32-bit little-endian ELF file for ARM, or too many
    explicit ElfFile(std::span<const uint8_t> bytes);

    const std::vector<ElfSection>& Sections() const { return sections; }
    const std::vector<ElfSegment>& Segments() const { return segments; }

    /// The bytes of a section; empty when it has none in the file or does not lie in it.
    std::span<const uint8_t> Content(const ElfSection& section) const;
    static constexpr std::size_t kLongestText = 4096;  ///< bytes
    /// The zero-terminated text at `offset` of a string table's bytes; empty when there is none, or a longer
    /// one than kLongestText: then many symbols can share one and would take far more memory than the file.
    static std::string_view Text(std::span<const uint8_t> table, uint32_t offset);
    /// The 32-bit word that the image holds at a target address, little endian; nothing when no loaded
    /// segment does.
    std::optional<uint32_t> WordAt(uint32_t address) const;

  private:
    std::span<const uint8_t> Part(uint64_t offset, uint64_t size) const;
    void ReadSections();
    void ReadSegments();

    std::span<const uint8_t> file;
    std::vector<ElfSection> sections;
    std::vector<ElfSegment> segments;
};

/// Little-endian numbers at `offset` of `bytes`, which must hold them.
uint32_t ElfWord(std::span<const uint8_t> bytes, std::size_t offset);
uint16_t ElfHalf(std::span<const uint8_t> bytes, std::size_t offset);

}  // namespace Korr::Plim::Trace::Symbols
