#pragma once

#include <cstdint>
#include <istream>
#include <string>
#include <vector>

namespace Korr::Plim::Trace::Tracehost {

/// The TDF file header of this reference host, 16 bytes: "KTDF", then three unsigned 32-bit little-endian
/// numbers: header version (1), offset of the first section (16), and 0. The first section follows it; the
/// plug-in adds all sections.
inline constexpr std::size_t kTdfHeaderSize = 16;
std::string TdfHeader();

inline constexpr uint32_t kTdfSectionHeaderSize = 12;  ///< before the name
/// What stands before a section's data, its name included.
std::string TdfSectionHeader(const std::string& name, uint32_t version, uint32_t dataSize);

/// One section as it stands in a file.
struct TdfSection {
    uint64_t offset = 0;
    uint32_t length = 0;  ///< bytes from the offset to the end of the data
    uint32_t version = 0;
    std::string name;  ///< at most kLongestTdfName bytes of it
    uint32_t nameLength = 0;
};

inline constexpr uint32_t kLongestTdfName = 256;
inline constexpr std::size_t kMostTdfSections = 10000;

/// What a TDF file holds.
struct TdfContents {
    std::vector<TdfSection> sections;
    std::string damage;  ///< what is wrong behind the sections read; empty for a whole file
};

/// Whether the stream begins with the header. The position afterwards is unspecified.
bool IsTdfFile(std::istream& file);
/// Lists the sections. Whatever the file holds, no more than kMostTdfSections are read, and nothing beyond
/// `size`.
TdfContents ReadTdfSections(std::istream& file, uint64_t size);

/// Makes sure that sections can be added to a file: writes the header into a new or empty one.
/// \throws UsageError when it is neither new, empty nor a TDF file of this host, HostError when it cannot be
/// written
void PrepareTdfFile(const std::string& name);

/// Writes the length of the section that begins at `offset`. \return false when it cannot be written
bool SetTdfSectionLength(const std::string& name, uint64_t offset, uint64_t length);

}  // namespace Korr::Plim::Trace::Tracehost
