#include "tracehost/line_settings.h"

#include <cstdlib>
#include <cstring>

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr const char* kClock = "UART configuration: Target: Trace Clock = ";
constexpr const char* kBaudRate = ", Baud rate=";
constexpr const char* kPrescaler = ", Prescalar=";

/// Takes `label` and the number behind it from the front of `rest`.
std::optional<double> TakeNumber(const char*& rest, const std::string& label) {
    if (std::strncmp(rest, label.c_str(), label.size()) != 0) return std::nullopt;
    const char* const digits = rest + label.size();
    char* end = nullptr;
    const double number = std::strtod(digits, &end);
    if (end == digits || !(number >= 0 && number <= UINT32_MAX)) return std::nullopt;
    rest = end;
    return number;
}

}  // namespace

std::optional<LineSettings> LastLineSettings(const std::string& log) {
    const std::size_t found = log.rfind(kClock);
    if (found == std::string::npos) return std::nullopt;
    const std::string line = log.substr(found, log.find('\n', found) - found);
    const char* rest = line.c_str();
    const auto clock = TakeNumber(rest, kClock);
    const auto rate = clock ? TakeNumber(rest, kBaudRate) : std::nullopt;
    const auto prescaler = rate ? TakeNumber(rest, kPrescaler) : std::nullopt;
    if (!prescaler) return std::nullopt;
    return LineSettings{*clock, static_cast<uint32_t>(*rate), static_cast<uint32_t>(*prescaler)};
}

}  // namespace Korr::Plim::Trace::Tracehost
