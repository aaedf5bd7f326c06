#pragma once

#include <cstdint>
#include <string_view>

namespace Korr::Plim::Trace::Exports {

/// Whether it is ASCII alone, and so UTF-8 as it stands.
bool IsAscii(std::string_view text);

/// What becomes of a zero byte, which ends a text in some formats.
enum class ZeroByte : uint8_t {
    Kept,
    Shown,  ///< as U+2400
};

/// Bytes that a clean text of so many takes at most.
constexpr std::size_t CleanRoom(std::size_t size) { return 3 * size; }

/// Writes a text as UTF-8: its characters as they stand, bytes that are none as U+FFFD.
/// \param place with CleanRoom(text.size()) bytes, not the text's own \return behind the last one written
char* WriteClean(char* place, std::string_view text, ZeroByte zero);

}  // namespace Korr::Plim::Trace::Exports
