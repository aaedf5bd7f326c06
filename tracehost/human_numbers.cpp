#include "tracehost/human_numbers.h"

#include <cstdio>

namespace Korr::Plim::Trace::Tracehost {

std::string FormatCount(uint64_t number) {
    std::string text = std::to_string(number);
    for (std::size_t place = text.size(); place > 3;) text.insert(place -= 3, ",");
    return text;
}

std::string CountOf(uint64_t number, const std::string& word) {
    return FormatCount(number) + " " + word + (number == 1 ? "" : "s");
}

std::string FormatNanoseconds(uint64_t nanoseconds) {
    constexpr uint64_t kSecond = 1000000000;
    char fraction[16];
    std::snprintf(fraction, sizeof fraction, "%09llu",
                  static_cast<unsigned long long>(nanoseconds % kSecond));
    std::string digits(fraction);
    while (digits.size() > 3 && digits.ends_with("000")) digits.resize(digits.size() - 3);
    return FormatCount(nanoseconds / kSecond) + "." + digits + " s";
}

}  // namespace Korr::Plim::Trace::Tracehost
