#pragma once

#include <string>

namespace KORR_PLIM {

/// A value for a log line that comes from a file, a name or another library: control characters are shown as
/// "\n", "\r", "\t" or "\x1B", so that no value can begin a line of its own or steer a terminal. Control
/// characters are the bytes below 0x20, 0x7F, and the C1 characters in UTF-8 (0xC2 and 0x80 to 0x9F); every
/// other byte stays, backslashes too. A value without any is neither copied nor changed, so that asking costs
/// little where nothing is logged.
///
/// For the arguments of a log call: LogMessage(kLogOrdinary, "%s: name %s", tag, Visible(name).Text()).
class Visible {
  public:
    /// \param value must live as long as this object; null counts as the empty text
    explicit Visible(const char* value) noexcept;
    explicit Visible(const std::string& value) noexcept : Visible(value.c_str()) {}

    /// Never null; "?" when there was no memory to show control characters. Valid while this object lives.
    const char* Text() const noexcept { return text; }

  private:
    std::string shown;
    const char* text;
};

}  // namespace KORR_PLIM
