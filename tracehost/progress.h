#pragma once

#include <cstdint>
#include <cstdio>
#include <deque>
#include <optional>
#include <string>
#include <utility>

namespace Korr::Plim::Trace::Tracehost {

/// "512 bytes", "1.20 kB", "12.0 MB", "123 GB": powers of 1000, three digits.
std::string FormatBytes(double bytes);
/// "0:07", "12:34", "1:02:03"; rounded up to whole seconds, "?" for more than 999 hours.
std::string FormatDuration(double seconds);

/// How far a recording is.
struct Progress {
    uint64_t bytes = 0;
    double bytesPerSecond = 0;
    std::optional<double> secondsLeft;  ///< absent: until the user stops it
};

/// "12.3 MB   1.20 MB/s   0:07 left".
std::string FormatProgress(const Progress& progress);

/// Time left until the first of two limits. \param rate in bytes per second; 0 tells nothing of the bytes
std::optional<double> TimeLeft(std::optional<double> seconds, std::optional<uint64_t> byteLimit,
                               double elapsed, uint64_t bytes, double rate);

/// Bytes per second over the last two seconds.
class RateMeter {
  public:
    /// \param seconds not before the last one's
    void Add(double seconds, uint64_t bytes);
    double BytesPerSecond() const;

  private:
    std::deque<std::pair<double, uint64_t>> points;
};

/// Shows progress: one line that is refreshed on a terminal, else a line per second.
class ProgressDisplay {
  public:
    ProgressDisplay(std::FILE* stream, bool isTerminal) : output(stream), refreshes(isTerminal) {}
    /// \param seconds since the start
    void Show(double seconds, const Progress& progress);
    /// Ends the refreshed line, so that other text can follow.
    void Finish();

  private:
    std::FILE* output;
    bool refreshes;
    double nextAt = 0;
    std::size_t shown = 0;  ///< characters of the refreshed line
};

}  // namespace Korr::Plim::Trace::Tracehost
