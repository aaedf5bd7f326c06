#include "viewer/server/access_token.h"

#include <array>

namespace Korr::Plim::Trace::Viewer {

std::optional<std::string> NewAccessToken() {
    std::array<uint8_t, 16> bytes{};
    if (!FillWithSecretBytes(bytes)) return std::nullopt;
    std::string token;
    for (const uint8_t byte : bytes) {
        token += "0123456789abcdef"[byte >> 4];
        token += "0123456789abcdef"[byte & 15];
    }
    return token;
}

}  // namespace Korr::Plim::Trace::Viewer
