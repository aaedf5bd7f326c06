#include "channel/text_numbers.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>

namespace Korr::Plim::Trace::Tarnel {
namespace {

constexpr uint64_t kLargestMagnitude = std::numeric_limits<uint32_t>::max();

bool IsDigit(char character) { return character >= '0' && character <= '9'; }

// Skips blanks and a sign. Returns whether the sign was a minus.
bool SkipToMagnitude(const char*& text) {
    text += std::strspn(text, " \t\n\v\f\r");
    const bool negative = *text == '-';
    if (*text == '-' || *text == '+') ++text;
    return negative;
}

// A magnitude of decimal digits; any above 32 bits gives 2^32.
uint64_t ReadMagnitude(const char* text) {
    uint64_t magnitude = 0;
    for (; IsDigit(*text); ++text) {
        magnitude = std::min(magnitude * 10 + static_cast<uint64_t>(*text - '0'), kLargestMagnitude + 1);
    }
    return magnitude;
}

bool HasHexadecimalPrefix(const char* text) {
    if (text[0] != '0' || (text[1] != 'x' && text[1] != 'X')) return false;
    const char* digits = text[2] == '.' ? text + 3 : text + 2;
    return *digits != '\0' && std::strchr("0123456789abcdefABCDEF", *digits) != nullptr;
}

// Whether a decimal number that is out of range is too large: decided by the decimal exponent of its first
// digit that is not 0.
bool IsTooLarge(const char* first, const char* last) {
    const char* exponentMark = std::find_if(first, last, [](char c) { return c == 'e' || c == 'E'; });
    const char* point = std::find(first, exponentMark, '.');
    const char* leading = std::find_if(first, exponentMark, [](char c) { return c >= '1' && c <= '9'; });
    const int64_t exponent = exponentMark == last ? 0 : ParseInteger(exponentMark + 1);
    return exponent + (point - leading) > 0;
}

bool IsTooLargeHexadecimal(const char* first, const char* last) {
    const char* exponentMark = std::find_if(first, last, [](char c) { return c == 'p' || c == 'P'; });
    const char* point = std::find(first, exponentMark, '.');
    const char* leading = std::find_if(first, exponentMark, [](char c) { return c != '0' && c != '.'; });
    const int64_t exponent = exponentMark == last ? 0 : ParseInteger(exponentMark + 1);
    return exponent + 4 * (point - leading) > 0;
}

double ReadReal(const char* text) {
    const bool hexadecimal = HasHexadecimalPrefix(text);
    const char* first = hexadecimal ? text + 2 : text;
    double value = 0.0;
    const auto format = hexadecimal ? std::chars_format::hex : std::chars_format::general;
    const auto [last, problem] = std::from_chars(first, first + std::strlen(first), value, format);
    if (problem != std::errc::result_out_of_range) return value;
    const bool tooLarge = hexadecimal ? IsTooLargeHexadecimal(first, last) : IsTooLarge(first, last);
    return tooLarge ? std::numeric_limits<double>::infinity() : 0.0;
}

}  // namespace

int32_t ParseInteger(const char* text) {
    const bool negative = SkipToMagnitude(text);
    const auto magnitude = static_cast<int64_t>(ReadMagnitude(text));
    const int64_t value = negative ? -magnitude : magnitude;
    return static_cast<int32_t>(
        std::clamp<int64_t>(value, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

uint32_t ParseUnsigned(const char* text) {
    const bool negative = SkipToMagnitude(text);
    const uint64_t magnitude = ReadMagnitude(text);
    if (magnitude > kLargestMagnitude) return std::numeric_limits<uint32_t>::max();
    const auto value = static_cast<uint32_t>(magnitude);
    return negative ? 0U - value : value;
}

double ParseReal(const char* text) {
    const bool negative = SkipToMagnitude(text);
    if (*text == '-' || *text == '+') return 0.0;  // a second sign is no number
    const double magnitude = ReadReal(text);
    return negative ? -magnitude : magnitude;
}

std::string FormatReal(double value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::general, 6).ptr;
    return std::string(text, end);
}

}  // namespace Korr::Plim::Trace::Tarnel
