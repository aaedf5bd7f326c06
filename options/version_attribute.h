#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace Korr::Plim::Trace::Tarnel {

/// Major, minor, bug fix, patch.
using VersionNumbers = std::array<uint32_t, 4>;

/// Reads four numbers separated by dots as the C library's scan of "%u.%u.%u.%u" does: each number may have
/// white space and a sign before it, text after the fourth is ignored. Where that scan leaves the result
/// open it is defined here: a number above 4,294,967,295 counts as 4,294,967,295, and a minus sign takes the
/// number's two's complement. \return nothing unless all four numbers are there
std::optional<VersionNumbers> ReadVersionAttribute(const std::string& text);

}  // namespace Korr::Plim::Trace::Tarnel
