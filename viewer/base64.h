#pragma once

#include <string>
#include <string_view>

namespace Korr::Plim::Trace::Viewer {

/// Any bytes as RFC 4648 has them, with its padding.
inline std::string Base64(std::string_view bytes) {
    static constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::size_t count = bytes.size() - at < 3 ? bytes.size() - at : 3;
        unsigned three = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            three = three << 8 | (i < count ? static_cast<unsigned char>(bytes[at + i]) : 0U);
        }
        for (std::size_t i = 0; i < 4; ++i) text += i <= count ? kDigits[three >> (18 - 6 * i) & 63] : '=';
    }
    return text;
}

}  // namespace Korr::Plim::Trace::Viewer
