#include "tracehost/place_times.h"

#include <algorithm>
#include <cmath>

#include "tracehost/human_numbers.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr double kLineBits = 10;            // of a byte: start bit, 8 data bits, stop bit
constexpr double kLatest = 1e18;            // nanoseconds
constexpr uint64_t kMillisecond = 1000000;  // nanoseconds

}  // namespace

PlaceTimes::PlaceTimes(const RecordingSheet& sheet, std::optional<double> baud) : arrivals(sheet.arrivals) {
    rate = baud ? *baud : sheet.baudTaken.value_or(sheet.baudAsked.value_or(0));
    if (!arrivals.empty() && !baud) {
        kind = Kind::Arrival;
    } else if (rate > 0) {
        kind = Kind::Line;
    }
}

uint64_t PlaceTimes::Nanoseconds(uint64_t offset) const {
    if (kind == Kind::Line) {
        const double seconds = static_cast<double>(offset) * kLineBits / rate;
        return static_cast<uint64_t>(std::llround(std::min(seconds * 1e9, kLatest)));
    }
    const auto after =
        std::upper_bound(arrivals.begin(), arrivals.end(), offset,
                         [](uint64_t at, const ArrivalPoint& point) { return at < point.bytes; });
    const uint64_t milliseconds = (after == arrivals.end() ? arrivals.back() : *after).milliseconds;
    return std::min(milliseconds, static_cast<uint64_t>(kLatest) / kMillisecond) * kMillisecond;
}

std::string PlaceTimes::Explained() const {
    if (kind == Kind::Arrival) return "times are those of arrival, within 100 ms";
    if (kind == Kind::None) return "a place is an offset";
    return "times are the earliest possible at " +
           FormatCount(static_cast<uint64_t>(std::llround(std::min(rate, 1e15)))) + " baud";
}

std::string PlaceTimes::Title() const {
    return kind == Kind::Arrival ? "arrived" : kind == Kind::Line ? "earliest" : "";
}

}  // namespace Korr::Plim::Trace::Tracehost
