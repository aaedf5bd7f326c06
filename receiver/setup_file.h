#pragma once

#include <cstddef>
#include <istream>
#include <string>

#include "host_api/ProbeKind.h"

namespace Korr::Plim::Trace::Tarnel {

/// \file
/// The host's target set-up data file of a CPU, read from a stream of bytes.
///
/// - A line ends with a line feed (a carriage return before it belongs to the line end) or with the file. It
///   has at most 16,384 bytes; what follows in a longer line is ignored. A NUL byte ends the text of its
///   line.
/// - A line that begins with "#" is a comment.
/// - "$", a blank and a word open a section. Of the word the first 31 characters count. A section ends where
///   the next one begins; a section name that stands in several places is one section.
/// - A property is leading blanks, a name, "=" and a value. Blanks before "=" do not count; those
///   behind it belong to the value, but not before the quotes of a product name.
/// - A blank is a space or a tab.

/// Splits a stream into lines.
class SetupFileLines {
  public:
    static constexpr std::size_t kMaximumLength = 16384;

    /// \param source read to its end; not owned
    explicit SetupFileLines(std::istream& source) : stream(source) {}
    /// The next line without its end. \return false at the end of the stream or after a read error
    bool Next(std::string& line);

  private:
    std::istream& stream;
};

/// Which probe the file describes: kBrantorProbe with a section "brantor", kQuillerProbe with a section
/// "product" whose property "name..." has the quoted value "Quiller"; what stands first in the file decides.
/// Else kUnsupportedProbe.
ProbeKind ReadProbeKind(std::istream& stream);

/// Whether the first property of this name in the section has a value that begins with `value`
/// (case-sensitive). A missing section or property, and a line without "=", answer false.
bool HasSetupProperty(std::istream& stream, const std::string& section, const std::string& property,
                      const std::string& value);

}  // namespace Korr::Plim::Trace::Tarnel
