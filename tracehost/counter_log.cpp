#include "tracehost/counter_log.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr uint64_t PortCounters::*kCounted[] = {&PortCounters::overrun, &PortCounters::bufferOverrun,
                                                &PortCounters::framing, &PortCounters::parity,
                                                &PortCounters::breaks};

}  // namespace

PortCounters GrownBy(const PortCounters& from, const PortCounters& to) {
    PortCounters grown;
    for (const auto field : kCounted) grown.*field = to.*field > from.*field ? to.*field - from.*field : 0;
    return grown;
}

uint64_t SumOf(const PortCounters& counters) {
    uint64_t sum = 0;
    for (const auto field : kCounted) sum += counters.*field;
    return sum;
}

void CounterLog::Add(const PortCounters& now, uint64_t bytes) {
    if (!first) first = now;
    const PortCounters grown = GrownBy(last.value_or(now), now);
    last = now;
    if (grown == PortCounters()) return;
    growth.push_back({bytes, grown});
    if (growth.size() <= kMostCounterGrowths) return;
    for (std::size_t i = 0; i < growth.size() / 2; ++i) {
        CounterGrowth both = growth[2 * i + 1];
        for (const auto field : kCounted) both.by.*field += growth[2 * i].by.*field;
        growth[i] = both;
    }
    const bool odd = growth.size() % 2 != 0;
    if (odd) growth[growth.size() / 2] = growth.back();
    growth.resize(growth.size() / 2 + (odd ? 1 : 0));
}

}  // namespace Korr::Plim::Trace::Tracehost
