#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "options/ChannelOptions.h"

namespace Korr::Plim::Trace::Tarnel {

/// An options file longer than this is refused: the files that are written here have some 500 bytes.
inline constexpr std::size_t kMaxOptionsFileBytes = 1'048'576;

/// References to a document's own entities; "&amp;" and its like are not counted.
inline constexpr std::size_t kMaxEntityExpansions = 32;

/// The bytes of an options file; nothing, with a line in the log, for one that cannot be read or is longer
/// than kMaxOptionsFileBytes. Waits as long as the file system does. Any thread.
/// \param fileName in the encoding of the platform's narrow file names, never an address
std::optional<std::string> LoadOptionsFile(const std::string& fileName);

/// Reads the text of an options file with the XML library, which is initialised and terminated around the
/// reading. The options come back in ID order; those that the file does not name are missing. One thread at a
/// time: the option table and the library's initialisation are the process's.
///
/// The text need not be trusted. Nothing else is opened: a text that asks for an external entity or document
/// type is refused as if that could not be opened. Also refused, with the text for a file that cannot be
/// parsed: nesting and options beyond the bounds of XMLOptionsHandler, more than kMaxEntityExpansions entity
/// references, parameter entities, and attribute lists behind entity declarations (both can expand without
/// end).
///
/// \param fileName for the message about recoverable errors
/// \throws cPelkitError
OptionList ReadOptionsText(const std::string& text, const std::string& fileName);

/// Refuses a file that LoadOptionsFile could not give, as the parser refuses one that it cannot open. One
/// thread at a time, like ReadOptionsText. \throws cPelkitError always
[[noreturn]] void RefuseUnreadableOptions();

}  // namespace Korr::Plim::Trace::Tarnel
