#pragma once

#include <cstdint>
#include <istream>
#include <string>
#include <vector>

#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

/// A script line that is no command (exit status 2).
class ScriptError : public UsageError {
  public:
    using UsageError::UsageError;
};

/// One word of a script line.
struct ScriptWord {
    std::string text;
    bool quoted = false;  ///< a quoted "-" is a text, a bare one a null pointer
};

/// Longest script line in bytes.
inline constexpr std::size_t kLongestLine = 65536;

/// Reads one line without its end. Of a line that is too long one byte too many is read, so that
/// SplitScriptLine refuses it. \return false when nothing is left
bool ReadScriptLine(std::istream& lines, std::string& line);

/// Splits a line into words at blanks and tabs. A word in double quotes may hold blanks; two double quotes in
/// it stand for one. "#" at the start of a word begins a comment. A carriage return at the end is dropped.
/// \throws ScriptError for an open quote, text right after a closing quote, or a line too long
std::vector<ScriptWord> SplitScriptLine(const std::string& line);

/// The words after a command's name, by position from 0. All operations throw ScriptError when the word is
/// not of the form asked for.
class ScriptArguments {
  public:
    explicit ScriptArguments(std::vector<ScriptWord> argumentWords) : words(std::move(argumentWords)) {}

    std::size_t Count() const { return words.size(); }
    /// The text, valid while this object lives; null for a bare "-".
    const char* TextOrNull(std::size_t index) const;
    /// The text, whatever it is.
    const std::string& Text(std::size_t index) const { return words.at(index).text; }
    /// A decimal number, or hexadecimal after "0x", from 0 to `largest`.
    uint32_t Number(std::size_t index, uint32_t largest = UINT32_MAX) const;
    /// The same, but `otherwise` when the word is not there.
    uint32_t NumberOr(std::size_t index, uint32_t otherwise) const;
    int32_t SignedNumber(std::size_t index) const;

  private:
    std::vector<ScriptWord> words;
};

}  // namespace Korr::Plim::Trace::Tracehost
