#pragma once

#include <cstddef>
#include <string>

#include "options/ChannelOptions.h"

namespace Korr::Plim::Trace::Tarnel {

/// An options file longer than this is refused: the files that are written here have some 500 bytes.
inline constexpr std::size_t kMaxOptionsFileBytes = 1'048'576;

/// Reads an options file with the XML library, which is initialised and terminated around the reading (not
/// thread-safe, like the option table). The options come back in ID order; those that the file does not
/// name are missing.
///
/// The file need not be trusted. Nothing but the file itself is opened: a name is a file name, never an
/// address, and a file that asks for an external entity or document type is refused as if that could not be
/// opened. Also refused, with the text for a file that cannot be parsed: more than kMaxOptionsFileBytes,
/// nesting and options beyond the bounds of XMLOptionsHandler, more than kMaxEntityExpansions entity
/// references, parameter entities, and attribute lists behind entity declarations (both can expand without
/// end).
///
/// \param fileName in the encoding of the platform's narrow file names, not empty
/// \throws cPelkitError
OptionList ReadOptionsFile(const std::string& fileName);

/// The same for a text in memory. \param text the file's bytes, or null for a file that could not be read
/// \param fileName for the message about recoverable errors
OptionList ReadOptionsText(const std::string* text, const std::string& fileName);

/// References to a document's own entities; "&amp;" and its like are not counted.
inline constexpr std::size_t kMaxEntityExpansions = 32;

}  // namespace Korr::Plim::Trace::Tarnel
