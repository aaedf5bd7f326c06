#include "tracehost/progress.h"

#include <algorithm>
#include <cmath>

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr double kRateWindow = 2.0;    // seconds
constexpr double kRefreshPause = 0.2;  // seconds, on a terminal
constexpr double kPlainPause = 1.0;    // seconds
constexpr double kLongestDuration = 999.0 * 3600;

}  // namespace

std::string FormatBytes(double bytes) {
    static constexpr const char* kUnits[] = {"kB", "MB", "GB"};
    char text[64];
    if (bytes < 999.5) {
        std::snprintf(text, sizeof text, "%.0f bytes", bytes);
        return text;
    }
    std::size_t unit = 0;
    double number = bytes / 1000;
    for (; number >= 999.5 && unit < 2; ++unit) number /= 1000;
    const int decimals = number < 9.995 ? 2 : number < 99.95 ? 1 : 0;
    std::snprintf(text, sizeof text, "%.*f %s", decimals, number, kUnits[unit]);
    return text;
}

std::string FormatDuration(double seconds) {
    if (!(seconds <= kLongestDuration)) return "?";
    const auto whole = static_cast<int>(std::ceil(std::max(seconds, 0.0)));
    char text[64];
    if (whole < 3600) {
        std::snprintf(text, sizeof text, "%d:%02d", whole / 60, whole % 60);
    } else {
        std::snprintf(text, sizeof text, "%d:%02d:%02d", whole / 3600, whole / 60 % 60, whole % 60);
    }
    return text;
}

std::string FormatProgress(const Progress& progress) {
    const std::string left =
        progress.secondsLeft ? FormatDuration(*progress.secondsLeft) + " left" : "Ctrl-C stops and saves";
    return FormatBytes(static_cast<double>(progress.bytes)) + "   " + FormatBytes(progress.bytesPerSecond) +
           "/s   " + left;
}

std::optional<double> TimeLeft(std::optional<double> seconds, std::optional<uint64_t> byteLimit,
                               double elapsed, uint64_t bytes, double rate) {
    std::optional<double> left;
    if (seconds) left = std::max(0.0, *seconds - elapsed);
    if (byteLimit && rate > 0) {
        const double missing = *byteLimit > bytes ? static_cast<double>(*byteLimit - bytes) : 0.0;
        left = std::min(left.value_or(missing / rate), missing / rate);
    }
    return left;
}

void RateMeter::Add(double seconds, uint64_t bytes) {
    points.emplace_back(seconds, bytes);
    while (points.size() > 2 && points[1].first <= seconds - kRateWindow) points.pop_front();
}

double RateMeter::BytesPerSecond() const {
    if (points.size() < 2 || points.back().first <= points.front().first) return 0;
    if (points.back().second <= points.front().second) return 0;
    const auto bytes = static_cast<double>(points.back().second - points.front().second);
    return bytes / (points.back().first - points.front().first);
}

void ProgressDisplay::Show(double seconds, const Progress& progress) {
    if (seconds < nextAt) return;
    nextAt = seconds + (refreshes ? kRefreshPause : kPlainPause);
    std::string line = FormatProgress(progress);
    if (refreshes) {
        const std::size_t length = line.size();
        if (length < shown) line.append(shown - length, ' ');
        shown = length;
        std::fprintf(output, "\r%s", line.c_str());
    } else {
        std::fprintf(output, "%s\n", line.c_str());
    }
    std::fflush(output);
}

void ProgressDisplay::Finish() {
    if (refreshes && shown > 0) std::fprintf(output, "\n");
    shown = 0;
}

}  // namespace Korr::Plim::Trace::Tracehost
