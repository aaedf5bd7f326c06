#include "channel/text_numbers.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>

#include "source_utilities/real_number.h"

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
    const double magnitude = KORR_PLIM::platform::ReadRealNumber(text);
    return negative ? -magnitude : magnitude;
}

std::string FormatReal(double value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::general, 6).ptr;
    return std::string(text, end);
}

}  // namespace Korr::Plim::Trace::Tarnel
