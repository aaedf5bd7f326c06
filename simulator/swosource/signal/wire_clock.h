#pragma once

#include <cstdint>

namespace Korr::Plim::Trace::Simulator {

/// Tells how many bytes the wire has carried since the last look. The wire's time is the sender's own: when
/// the sender was kept from running longer than the longest step, the rest of that time does not pass on the
/// wire and is counted as lag instead, so that a late sender is never mistaken for a slow reader.
class WireClock {
  public:
    /// \param longest nanoseconds between two looks that still count as running
    explicit WireClock(int64_t longest) : longestStep(longest) {}

    /// Bytes due at `now` (nanoseconds of a steady clock) since the last call; the first call gives 0.
    uint64_t Advance(int64_t now, double bytesPerSecond);
    /// Like Advance while nothing is sent: the wire's time stands still, nothing is lag.
    void Rest(int64_t now);

    double WireSeconds() const { return static_cast<double>(wireTime) / 1e9; }
    double LagSeconds() const { return static_cast<double>(lag) / 1e9; }
    double LongestLagSeconds() const { return static_cast<double>(longestLag) / 1e9; }
    uint64_t Lags() const { return lags; }

  private:
    int64_t longestStep;
    int64_t last = -1;
    int64_t wireTime = 0;
    int64_t lag = 0;
    int64_t longestLag = 0;
    uint64_t lags = 0;
    double owed = 0;  ///< fraction of a byte
};

}  // namespace Korr::Plim::Trace::Simulator
