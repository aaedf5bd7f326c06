#include "trace/recording_axis.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace Korr::Plim::Trace::Swo {

namespace {

constexpr double kNanosecondsPerSecond = 1e9;  // nanoseconds
constexpr double kMillisecond = 1e6;           // nanoseconds
constexpr double kLineBits = 10;               // of a byte: start bit, 8 data bits, stop bit

bool IsRate(const std::optional<double>& rate) { return rate && std::isfinite(*rate) && *rate >= 1e-3; }

AxisKind KindOf(const AxisSettings& settings, bool timed) {
    if (timed) return AxisKind::Timestamps;
    if (!settings.arrivals.empty()) return AxisKind::Arrival;
    return IsRate(settings.baud) ? AxisKind::Line : AxisKind::Bytes;
}

}  // namespace

std::string_view AxisKindName(AxisKind kind) {
    static constexpr std::array<std::string_view, 4> kNames = {"timestamps", "arrival", "line", "bytes"};
    return kNames[static_cast<size_t>(kind)];
}

RecordingAxis::RecordingAxis(const AxisSettings& settings, bool timed)
    : kind(KindOf(settings, timed)), nanoseconds(kind == AxisKind::Arrival || kind == AxisKind::Line) {
    if (kind == AxisKind::Timestamps && IsRate(settings.clockHz)) {
        nanoseconds = true;
        scale = std::max(1U, settings.prescale) * kNanosecondsPerSecond / *settings.clockHz;
    } else if (kind == AxisKind::Line) {
        scale = kLineBits * kNanosecondsPerSecond / *settings.baud;
    } else if (kind == AxisKind::Arrival) {
        arrivals = settings.arrivals;
    }
}

std::string_view RecordingAxis::Unit() const {
    return nanoseconds ? "ns" : kind == AxisKind::Bytes ? "bytes" : "ticks";
}

double RecordingAxis::At(uint64_t position) const {
    if (kind != AxisKind::Arrival) return static_cast<double>(position) * scale;
    const auto after = std::upper_bound(arrivals.begin(), arrivals.end(), position,
                                        [](uint64_t at, const Arrival& point) { return at < point.bytes; });
    return static_cast<double>((after == arrivals.end() ? arrivals.back() : *after).milliseconds) *
           kMillisecond;
}

uint64_t RecordingAxis::PositionAt(double time) const {
    if (!(time > 0)) return 0;
    if (At(UINT64_MAX) < time) return UINT64_MAX;
    uint64_t low = 0;  // At(low) is before, At(high) is not
    uint64_t high = UINT64_MAX;
    if (At(low) >= time) return low;
    while (high - low > 1) {
        const uint64_t middle = low + (high - low) / 2;
        (At(middle) < time ? low : high) = middle;
    }
    return high;
}

}  // namespace Korr::Plim::Trace::Swo
