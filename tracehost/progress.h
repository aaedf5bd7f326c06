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
    std::string note = {};              ///< what else is to be shown; may be empty
};

/// "12.3 MB   1.20 MB/s   0:07 left", or less of it: what does not fit into `width` columns is left out, the
/// rate first.
std::string FormatProgress(const Progress& progress, std::size_t width = SIZE_MAX);

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

/// Shows progress: one line that is refreshed on a terminal and fits into it, else a line per second.
class ProgressDisplay {
  public:
    /// \param show false: nothing is shown
    ProgressDisplay(std::FILE* stream, bool isTerminal, bool show = true)
        : output(stream), isShown(show), refreshes(isTerminal) {}
    /// \param seconds since the start
    void Show(double seconds, const Progress& progress);
    /// Something else instead, such as what is waited for.
    void ShowText(double seconds, const std::string& text);
    /// Ends the refreshed line, so that other text can follow, and takes away what a Ctrl-C has left in it.
    void Finish();

  private:
    bool IsDue(double seconds);
    void Put(const std::string& line);
    std::size_t Room() const;

    std::FILE* output;
    bool isShown;
    bool refreshes;
    double nextAt = 0;
    std::string last;       ///< the refreshed line; empty: there is none
    std::size_t shown = 0;  ///< columns that it has taken
};

}  // namespace Korr::Plim::Trace::Tracehost
