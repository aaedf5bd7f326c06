#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "source_utilities/printf_check.h"
#include "source_utilities/source_utilities_error.h"

/// String functions. A null text is an error where the function says so.
namespace KORR_PLIM::uString {

class error : public source_utilities_error {
  public:
    using source_utilities_error::source_utilities_error;
};

/// Reads a number: "0x1F" hexadecimal, "017" octal, anything else decimal, leading blanks skipped and
/// anything behind the number ignored. Instantiated for int32_t, uint32_t, int64_t, uint64_t and double
/// (decimal whatever the text starts with). A text that is no number gives 0; one that is too large gives the
/// nearest value of the type; a negative one wraps around in an unsigned type. \throws error for a null or
/// empty text
template <typename Number>
Number ToNumber(const char* text);

/// Replaces occurrences of `pattern` in place, left to right, and returns `text`. The search resumes at the
/// match plus the length of the pattern. An empty pattern changes nothing; text that a replacement brought in
/// is never replaced again when the replacement contains the pattern. \throws error for a null pattern or
/// replacement
std::string& Replace(std::string& text, const char* pattern, const char* replacement);

/// Splits at the first separator. \return 2; without a separator 1 (`first` is all, `second` empty) or 0
/// (empty text) \throws error for a null text or separator
int32_t Split(const char* text, std::string& first, std::string& second, const char* separator);

/// Position of the first `needle` at or after `start`, or -1 (also when `start` lies beyond the end).
int64_t Find(const std::string& text, const std::string& needle, std::size_t start);

/// Formatted print, always terminated. \return characters written, -1 on failure or when it did not fit
int32_t FormatTo(char* buffer, std::size_t size, const char* format, ...) KORR_PRINTF(3, 4);

}  // namespace KORR_PLIM::uString
