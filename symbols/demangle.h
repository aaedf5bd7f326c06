#pragma once

#include <cstdint>
#include <string>

namespace Korr::Plim::Trace::Symbols {

/// Bytes that the names of a file may come to while they are made, in all.
inline constexpr uint64_t kMostDemangling = uint64_t{1} << 28;

/// The name as the source has it, when the tool chain's runtime can tell, and it has at most
/// ElfFile::kLongestText bytes; else the name as it stands. Any thread.
/// \param room bytes that names may still come to while they are made; lessened by those of this one
std::string Demangle(const std::string& name, uint64_t& room);

}  // namespace Korr::Plim::Trace::Symbols
