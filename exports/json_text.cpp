#include "exports/json_text.h"

#include "exports/utf8.h"

namespace Korr::Plim::Trace::Exports {

namespace {

/// Whether a character stands for itself, as nearly all do.
bool IsPlain(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte >= 0x20 && byte < 0x7F && character != '"' && character != '\\';
}

void AddCharacter(RowText& row, std::string_view character) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(character[0]);
    if (byte >= 0x20 && byte != 0x7F && byte != '"' && byte != '\\') return row.Add(character);
    if (byte == '"' || byte == '\\') {
        row.Add('\\');
        return row.Add(character);
    }
    row.Add("\\u00");
    row.Add(kDigits[byte >> 4]);
    row.Add(kDigits[byte & 0xF]);
}

}  // namespace

void AddJsonString(RowText& row, std::string_view text) {
    row.BeginRow();
    row.Add('"');
    while (!text.empty()) {
        std::size_t plain = 0;
        while (plain < text.size() && IsPlain(text[plain])) ++plain;
        row.AddLong(text.substr(0, plain));
        text.remove_prefix(plain);
        if (!text.empty()) AddCharacter(row, TakeCharacter(text));
    }
    row.Add('"');
    row.BeginRow();
}

}  // namespace Korr::Plim::Trace::Exports
