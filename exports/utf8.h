#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Korr::Plim::Trace::Exports {

inline constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  ///< U+FFFD, for what is no character

/// Bytes of the UTF-8 character that a text begins with; 0 when it begins with none. \pre text is not empty
constexpr std::size_t Utf8Length(std::string_view text) {
    const auto byte = [text](std::size_t at) { return static_cast<uint8_t>(text[at]); };
    const auto follows = [&](std::size_t at, uint8_t least, uint8_t most) {
        return at < text.size() && byte(at) >= least && byte(at) <= most;
    };
    const uint8_t first = byte(0);
    if (first < 0x80) return 1;
    if (first >= 0xC2 && first <= 0xDF) return follows(1, 0x80, 0xBF) ? 2 : 0;
    if (first >= 0xE0 && first <= 0xEF) {
        const uint8_t least = first == 0xE0 ? 0xA0 : 0x80;  // not in a longer form than is needed
        const uint8_t most = first == 0xED ? 0x9F : 0xBF;   // no surrogates
        return follows(1, least, most) && follows(2, 0x80, 0xBF) ? 3 : 0;
    }
    if (first >= 0xF0 && first <= 0xF4) {
        const uint8_t least = first == 0xF0 ? 0x90 : 0x80;
        const uint8_t most = first == 0xF4 ? 0x8F : 0xBF;
        return follows(1, least, most) && follows(2, 0x80, 0xBF) && follows(3, 0x80, 0xBF) ? 4 : 0;
    }
    return 0;
}

/// Takes the next character off a text that is not empty: its bytes, or U+FFFD for a byte that is none.
constexpr std::string_view TakeCharacter(std::string_view& text) {
    const std::size_t length = Utf8Length(text);
    const std::string_view character = length == 0 ? kReplacement : text.substr(0, length);
    text.remove_prefix(length == 0 ? 1 : length);
    return character;
}

}  // namespace Korr::Plim::Trace::Exports
