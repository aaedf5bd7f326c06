#include "options/version_attribute.h"

#include <limits>

namespace Korr::Plim::Trace::Tarnel {

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// Reads one number at `at` and moves `at` behind it. `text` ends in a zero that is neither blank nor digit.
bool ReadNumber(const char*& at, uint32_t& number) {
    while (IsBlank(*at)) ++at;
    const bool negative = *at == '-';
    if (*at == '-' || *at == '+') ++at;
    if (!IsDigit(*at)) return false;
    constexpr uint64_t kMost = std::numeric_limits<uint32_t>::max();
    uint64_t value = 0;
    for (; IsDigit(*at); ++at) {
        value = value * 10 + static_cast<uint64_t>(*at - '0');
        if (value > kMost) value = kMost;
    }
    number = static_cast<uint32_t>(negative ? (kMost + 1 - value) & kMost : value);
    return true;
}

}  // namespace

std::optional<VersionNumbers> ReadVersionAttribute(const std::string& text) {
    const char* at = text.c_str();
    VersionNumbers numbers{};
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        if (i > 0 && *at++ != '.') return std::nullopt;
        if (!ReadNumber(at, numbers[i])) return std::nullopt;
    }
    return numbers;
}

}  // namespace Korr::Plim::Trace::Tarnel
