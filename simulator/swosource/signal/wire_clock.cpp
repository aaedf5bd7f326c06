#include "simulator/swosource/signal/wire_clock.h"

#include <algorithm>

namespace Korr::Plim::Trace::Simulator {

uint64_t WireClock::Advance(int64_t now, double bytesPerSecond) {
    if (last < 0) last = now;
    int64_t step = std::max<int64_t>(now - last, 0);
    last = now;
    if (step > longestStep) {
        const int64_t late = step - longestStep;
        lag += late;
        longestLag = std::max(longestLag, late);
        ++lags;
        step = longestStep;
    }
    wireTime += step;
    owed += static_cast<double>(step) / 1e9 * bytesPerSecond;
    const auto whole = static_cast<uint64_t>(owed);
    owed -= static_cast<double>(whole);
    return whole;
}

void WireClock::Rest(int64_t now) { last = now; }

}  // namespace Korr::Plim::Trace::Simulator
