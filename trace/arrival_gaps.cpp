#include "trace/arrival_gaps.h"

#include <algorithm>
#include <cmath>

namespace Korr::Plim::Trace::Swo {
namespace {

constexpr size_t kBeside = 4;      // looks before a silence, and as many behind it
constexpr double kLongest = 1e15;  // milliseconds
constexpr double kSteady = 25.0;   // milliseconds that a look may differ by

/// Between two arrivals, of which `at` is the second.
struct Look {
    Look(std::span<const Arrival> arrivals, size_t at)
        : milliseconds(static_cast<double>(arrivals[at].milliseconds - arrivals[at - 1].milliseconds)),
          bytes(static_cast<double>(arrivals[at].bytes - arrivals[at - 1].bytes)) {}
    double milliseconds;
    double bytes;

    /// For which nothing came, at a rate in bytes per millisecond.
    double Idle(double rate) const { return milliseconds - bytes / rate; }
};

/// Bytes per millisecond of the looks beside one; 0 when they are not steady.
double SteadyRate(std::span<const Arrival> arrivals, size_t at) {
    double milliseconds = 0;
    double bytes = 0;
    const auto beside = [&](auto&& each) {
        for (size_t i = 1; i <= kBeside; ++i) {
            each(Look(arrivals, at - i));
            each(Look(arrivals, at + i));
        }
    };
    beside([&](const Look& look) { milliseconds += look.milliseconds, bytes += look.bytes; });
    if (milliseconds <= 0 || bytes <= 0) return 0;
    const double rate = bytes / milliseconds;
    bool steady = true;
    beside([&](const Look& look) { steady = steady && std::abs(look.Idle(rate)) <= kSteady; });
    return steady ? rate : 0;
}

}  // namespace

std::vector<Silence> FindSilences(std::span<const Arrival> arrivals) {
    std::vector<Silence> silences;
    for (size_t at = kBeside + 1; at + kBeside < arrivals.size(); ++at) {
        const double rate = SteadyRate(arrivals, at);
        if (rate <= 0) continue;
        const double idle = Look(arrivals, at).Idle(rate);
        if (idle <= static_cast<double>(kShortestSilence)) continue;
        silences.push_back(
            {arrivals[at - 1].bytes, static_cast<uint64_t>(std::llround(std::min(idle, kLongest)))});
    }
    return silences;
}

}  // namespace Korr::Plim::Trace::Swo
