#include "tracehost/progress.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr double kRateWindow = 2.0;    // seconds
constexpr double kRefreshPause = 0.2;  // seconds, on a terminal
constexpr double kPlainPause = 1.0;    // seconds
constexpr double kLongestDuration = 999.0 * 3600;
constexpr std::size_t kEcho = 2;  // columns of the "^C" that a terminal writes behind the line

/// Those that are not empty.
std::string Joined(std::initializer_list<std::string> parts) {
    std::string line;
    for (const std::string& part : parts) {
        if (part.empty()) continue;
        if (!line.empty()) line += "   ";
        line += part;
    }
    return line;
}

std::string FormatTimeLeft(double seconds) {
    if (seconds >= 0.95 || !(seconds > 0)) return FormatDuration(seconds) + " left";
    char text[32];
    std::snprintf(text, sizeof text, "%.1f s left", seconds);
    return text;
}

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

std::string FormatProgress(const Progress& progress, std::size_t width) {
    const std::string captured = FormatBytes(static_cast<double>(progress.bytes));
    const std::string rate = FormatBytes(progress.bytesPerSecond) + "/s";
    const std::string left =
        progress.secondsLeft ? FormatTimeLeft(*progress.secondsLeft) : "Ctrl-C stops and saves";
    const std::string& note = progress.note;
    for (const std::string& line : {Joined({captured, rate, left, note}), Joined({captured, left, note}),
                                    Joined({captured, rate, left}), Joined({captured, left}), captured}) {
        if (line.size() <= width) return line;
    }
    return captured.substr(0, width);
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

bool ProgressDisplay::IsDue(double seconds) {
    if (!isShown || seconds < nextAt) return false;
    nextAt = seconds + (refreshes ? kRefreshPause : kPlainPause);
    return true;
}

/// The last column stays free: some terminals begin a new line with it.
std::size_t ProgressDisplay::Room() const {
    const std::size_t width = refreshes ? TerminalWidth(output) : 0;
    return width > kEcho + 1 ? width - kEcho - 1 : SIZE_MAX;
}

void ProgressDisplay::Put(const std::string& line) {
    if (!refreshes) {
        std::fprintf(output, "%s\n", line.c_str());
    } else {
        const std::size_t blanks = shown > line.size() ? shown - line.size() : 0;
        std::fprintf(output, "\r%s%s", line.c_str(), std::string(blanks, ' ').c_str());
        shown = line.size();
        last = line;
    }
    std::fflush(output);
}

void ProgressDisplay::Show(double seconds, const Progress& progress) {
    if (IsDue(seconds)) Put(FormatProgress(progress, Room()));
}

void ProgressDisplay::ShowText(double seconds, const std::string& text) {
    if (IsDue(seconds)) Put(text.substr(0, Room()));
}

void ProgressDisplay::Finish() {
    nextAt = 0;
    if (last.empty()) return;
    shown += kEcho;
    Put(last);
    std::fprintf(output, "\n");
    last.clear();
    shown = 0;
}

}  // namespace Korr::Plim::Trace::Tracehost
