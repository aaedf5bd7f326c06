#include "trace/counter_gaps.h"

#include <algorithm>

namespace Korr::Plim::Trace::Swo {

/// How far `to` is ahead, in the bits that both have.
uint32_t CounterGaps::Distance(const Value& from, const Value& to) {
    const int bits = 8 * std::min(from.size, to.size);
    const uint32_t mask = bits >= 32 ? UINT32_MAX : (uint32_t{1} << bits) - 1;
    return (to.value - from.value) & mask;
}

CounterGap CounterGaps::Between(const Value& from, const Value& to) {
    const int bits = 8 * std::min(from.size, to.size);
    const uint32_t mask = bits >= 32 ? UINT32_MAX : (uint32_t{1} << bits) - 1;
    return {from.offset, to.offset, (Distance(from, to) - 1) & mask, to.time};
}

void CounterGaps::Take(const Value& next) {
    first.reset();
    second.reset();
    if (!last) {
        if (!next.suspect) last = next;
        return;
    }
    if (!doubt) {
        if (Distance(*last, next) == 1) {
            last = next;
        } else if (!next.suspect) {
            doubt = next;
        }
        return;
    }
    const bool fitsDoubt = Distance(*doubt, next) == 1;
    if (next.suspect && !fitsDoubt) return;
    if (Distance(*last, next) == 1) {
        // The one in between was read across damage that took no value with it.
        doubt.reset();
        last = next;
        return;
    }
    const uint32_t whole = Distance(*last, next);
    const uint32_t part = Distance(*last, *doubt);
    const bool onTheWay = part != 0 && part < whole;
    if (fitsDoubt || onTheWay) {
        first = Between(*last, *doubt);
        if (!fitsDoubt) second = Between(*doubt, next);
    } else {
        first = Between(*last, next);
    }
    doubt.reset();
    last = next;
}

void CounterGaps::Finish() {
    first.reset();
    second.reset();
    if (last && doubt) first = Between(*last, *doubt);
    doubt.reset();
}

}  // namespace Korr::Plim::Trace::Swo
