#include "trace/period_gaps.h"

#include <algorithm>

namespace Korr::Plim::Trace::Swo {
namespace {

constexpr uint32_t kMostPauses = 10;

uint64_t Apart(uint64_t a, uint64_t b) { return a > b ? a - b : b - a; }

/// What a distance may differ from the period, or from a multiple of it.
uint64_t Jitter(uint64_t period) { return 1 + period / 128; }

}  // namespace

constexpr PeriodGaps::Places PeriodGaps::MakePlaces() {
    Places places{};
    uint16_t next = 0;
    const auto give = [&](PacketKind kind, uint16_t sources, uint8_t looked = 0, uint8_t meant = 0) {
        places[static_cast<size_t>(kind)] = {true, looked, meant, next, static_cast<uint16_t>(sources - 1)};
        next = static_cast<uint16_t>(next + sources);
    };
    give(PacketKind::Stimulus, 256);
    give(PacketKind::Exception, 512, kKindFlags, kEntered);
    give(PacketKind::DataValue, 4);
    give(PacketKind::DataPc, 4);
    give(PacketKind::DataAddress, 4);
    give(PacketKind::PcSample, 1);
    give(PacketKind::EventCounters, 1);
    return places;
}

constinit const PeriodGaps::Places PeriodGaps::kPlaces = PeriodGaps::MakePlaces();

void PeriodGaps::OnOtherTime(TimeQuality quality) {
    if (quality == TimeQuality::Bounded) return;
    if (exact) ++stretch;
    exact = false;
}

uint64_t PeriodGaps::Next(Row& row, uint64_t ticks) const {
    if (row.stretch != stretch) {
        row = {ticks, 0, 0, row.pauses, stretch};
        return 0;
    }
    const uint64_t distance = ticks - row.last;
    row.last = ticks;
    if (Apart(distance, row.period) <= Jitter(row.period)) {
        row.equal += row.equal < UINT32_MAX ? 1 : 0;
        return 0;
    }
    const uint32_t needed = kEqual << std::min(row.pauses, kMostPauses);
    if (row.equal >= needed && row.period >= kShortest) {
        const uint64_t times = (distance + row.period / 2) / row.period;
        const bool multiple = times >= 2 && times <= kMostMissing + 1;
        if (multiple && Apart(distance, times * row.period) <= times * Jitter(row.period)) return times - 1;
        ++row.pauses;
    }
    row.period = distance;
    row.equal = 1;
    return 0;
}

}  // namespace Korr::Plim::Trace::Swo
