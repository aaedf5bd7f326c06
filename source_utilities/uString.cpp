#include "source_utilities/uString.h"

#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>
#include <locale>
#include <sstream>

namespace KORR_PLIM::uString {
namespace {

enum class Base { kDecimal, kOctal, kHexadecimal };

/// The base that the text's start tells; `digits` is moved behind it.
Base TakeBase(const char*& digits) {
    if (digits[0] != '0' || digits[1] == '\0') return Base::kDecimal;
    if ((digits[1] == 'x' || digits[1] == 'X') && std::isxdigit(static_cast<unsigned char>(digits[2])) != 0) {
        digits += 2;
        return Base::kHexadecimal;
    }
    digits += 1;
    return Base::kOctal;
}

}  // namespace

template <typename Number>
Number ToNumber(const char* text) {
    if (text == nullptr) throw error("unable to convert null string to numeric");
    if (*text == '\0') throw error("unable to convert empty string to numeric");
    const Base base = TakeBase(text);
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    if (base == Base::kHexadecimal) {
        stream >> std::hex;
    } else if (base == Base::kOctal) {
        stream >> std::oct;
    }
    Number number{};
    stream >> number;
    return number;
}
template int32_t ToNumber<int32_t>(const char*);
template uint32_t ToNumber<uint32_t>(const char*);
template int64_t ToNumber<int64_t>(const char*);
template uint64_t ToNumber<uint64_t>(const char*);
template double ToNumber<double>(const char*);

std::string& Replace(std::string& text, const char* pattern, const char* replacement) {
    if (pattern == nullptr) throw error("unable to perform string replacement from null original text");
    if (replacement == nullptr) {
        throw error("unable to perform string replacement with null replacement text");
    }
    const std::size_t patternLength = std::strlen(pattern);
    if (patternLength == 0) return text;
    // A replacement that holds the pattern is stepped over, otherwise its own text would be replaced for
    // ever.
    const std::size_t step =
        std::strstr(replacement, pattern) != nullptr ? std::strlen(replacement) : patternLength;
    for (std::size_t at = text.find(pattern); at != std::string::npos; at = text.find(pattern, at + step)) {
        text.replace(at, patternLength, replacement);
    }
    return text;
}

int32_t Split(const char* text, std::string& first, std::string& second, const char* separator) {
    if (text == nullptr) throw error("unable to split null string");
    if (separator == nullptr) throw error("unable to split with null delimeter");
    const std::string whole(text);
    const std::size_t at = whole.find(separator);
    if (at == std::string::npos) {
        first = whole;
        second.clear();
        return whole.empty() ? 0 : 1;
    }
    first = whole.substr(0, at);
    second = whole.substr(at + std::strlen(separator));
    return 2;
}

int64_t Find(const std::string& text, const std::string& needle, std::size_t start) {
    const std::size_t at = text.find(needle, start);
    return at == std::string::npos ? -1 : static_cast<int64_t>(at);
}

int32_t FormatTo(char* buffer, std::size_t size, const char* format, ...) {
    if (buffer == nullptr || size == 0) return -1;
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    if (length < 0) buffer[0] = '\0';
    return length < 0 || static_cast<std::size_t>(length) >= size ? -1 : length;
}

}  // namespace KORR_PLIM::uString
