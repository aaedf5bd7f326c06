#include "channel/firmware_version.h"

#include "channel/text_numbers.h"

namespace Korr::Plim::Trace::Tarnel {
namespace {

uint32_t NumberAt(const std::string& text, std::size_t from, std::size_t to) {
    return static_cast<uint32_t>(ParseInteger(text.substr(from, to - from).c_str()));
}

}  // namespace

uint32_t ParseFirmwareVersion(std::string text) {
    const std::size_t firstPoint = text.find('.');
    if (firstPoint == std::string::npos) return 0;
    const std::size_t blank = text.rfind(' ', firstPoint);
    // The text is expected as a word, a blank and the number; a blank at the very start does not count.
    text.erase(0, blank == std::string::npos ? 1 : blank + 1);

    const std::size_t a = text.find('.');
    const std::size_t b = a == std::string::npos ? a : text.find('.', a + 1);
    const std::size_t c = b == std::string::npos ? b : text.find('.', b + 1);
    if (c == std::string::npos) return 0;
    return NumberAt(text, 0, a) << 24 | NumberAt(text, a + 1, b) << 16 | NumberAt(text, b + 1, c) << 8 |
           NumberAt(text, c + 1, text.size());
}

}  // namespace Korr::Plim::Trace::Tarnel
