#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace Korr::Plim::Trace::Viewer {

/// Seam: fills a buffer from the platform's source of random bytes for secrets. \return false when it has
/// none
bool FillWithSecretBytes(std::span<uint8_t> buffer);

/// A token that nobody guesses: 128 random bits, as 32 hexadecimal digits. Absent when the platform has no
/// random bytes for secrets.
std::optional<std::string> NewAccessToken();

}  // namespace Korr::Plim::Trace::Viewer
