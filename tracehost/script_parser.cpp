#include "tracehost/script_parser.h"

#include <charconv>
#include <optional>

namespace Korr::Plim::Trace::Tracehost {

namespace {

bool IsBlank(char character) { return character == ' ' || character == '\t'; }

/// Reads a quoted word; `position` is behind the opening quote and ends behind the closing one.
ScriptWord ReadQuoted(const std::string& line, std::size_t& position) {
    ScriptWord word{"", true};
    for (; position < line.size(); ++position) {
        if (line[position] != '"') {
            word.text += line[position];
            continue;
        }
        ++position;
        if (position == line.size() || line[position] != '"') return word;
        word.text += '"';
    }
    throw ScriptError("a double quote is not closed");
}

ScriptWord ReadBare(const std::string& line, std::size_t& position) {
    const std::size_t start = position;
    while (position < line.size() && !IsBlank(line[position])) ++position;
    return {line.substr(start, position - start), false};
}

template <typename Number>
std::optional<Number> ParseNumber(const std::string& text) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const char* const start = text.c_str() + (hexadecimal ? 2 : 0);
    const char* const end = text.c_str() + text.size();
    Number number = 0;
    const auto [stop, failure] = std::from_chars(start, end, number, hexadecimal ? 16 : 10);
    if (failure != std::errc() || stop != end) return std::nullopt;
    return number;
}

}  // namespace

bool ReadScriptLine(std::istream& lines, std::string& line) {
    line.clear();
    for (char character = 0; line.size() <= kLongestLine && lines.get(character);) {
        if (character == '\n') return true;
        line += character;
    }
    return !line.empty();
}

std::vector<ScriptWord> SplitScriptLine(const std::string& text) {
    if (text.size() > kLongestLine) throw ScriptError("the line is longer than 65536 bytes");
    const std::string line = text.ends_with('\r') ? text.substr(0, text.size() - 1) : text;
    std::vector<ScriptWord> words;
    std::size_t position = 0;
    while (true) {
        while (position < line.size() && IsBlank(line[position])) ++position;
        if (position == line.size() || line[position] == '#') return words;
        if (line[position] != '"') {
            words.push_back(ReadBare(line, position));
            continue;
        }
        words.push_back(ReadQuoted(line, ++position));
        if (position < line.size() && !IsBlank(line[position])) {
            throw ScriptError("a blank is missing after a closing double quote");
        }
    }
}

const char* ScriptArguments::TextOrNull(std::size_t index) const {
    const ScriptWord& word = words.at(index);
    return word.text == "-" && !word.quoted ? nullptr : word.text.c_str();
}

uint32_t ScriptArguments::Number(std::size_t index, uint32_t largest) const {
    const auto number = ParseNumber<uint32_t>(Text(index));
    if (number && *number <= largest) return *number;
    throw ScriptError("\"" + Text(index) + "\" is no number from 0 to " + std::to_string(largest));
}

uint32_t ScriptArguments::NumberOr(std::size_t index, uint32_t otherwise) const {
    return index < Count() ? Number(index) : otherwise;
}

int32_t ScriptArguments::SignedNumber(std::size_t index) const {
    const auto number = ParseNumber<int32_t>(Text(index));
    if (number) return *number;
    throw ScriptError("\"" + Text(index) + "\" is no number from -2147483648 to 2147483647");
}

}  // namespace Korr::Plim::Trace::Tracehost
