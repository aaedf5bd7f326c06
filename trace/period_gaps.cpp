#include "trace/period_gaps.h"

#include <algorithm>

namespace Korr::Plim::Trace::Swo {
namespace {

constexpr uint32_t kMostPauses = 10;

uint64_t Apart(uint64_t a, uint64_t b) { return a > b ? a - b : b - a; }

/// What a distance may differ from the period, or from a multiple of it.
uint64_t Jitter(uint64_t period) { return 1 + period / 128; }

}  // namespace

std::optional<size_t> PeriodGaps::RowOf(const Packet& packet) {
    const size_t comparator = packet.source & 3U;
    switch (packet.kind) {
        case PacketKind::Stimulus:
            return packet.source & 0xFFU;
        case PacketKind::Exception:
            if ((packet.flags & kKindFlags) != kEntered) return std::nullopt;
            return kPorts + (packet.source & 0x1FFU);
        case PacketKind::DataValue:
            return kPorts + kExceptions + comparator + ((packet.flags & kWrite) != 0 ? 4 : 0);
        case PacketKind::DataPc:
            return kPorts + kExceptions + 8 + comparator;
        case PacketKind::DataAddress:
            return kPorts + kExceptions + 12 + comparator;
        case PacketKind::PcSample:
        case PacketKind::PcSleep:
            return kRows - 2;
        case PacketKind::EventCounters:
            return kRows - 1;
        default:
            return std::nullopt;
    }
}

uint64_t PeriodGaps::Take(const Packet& packet, const PacketTime& time) {
    if (time.quality != TimeQuality::Exact) {
        if (time.quality != TimeQuality::Bounded && exact) ++stretch;
        exact = exact && time.quality == TimeQuality::Bounded;
        return 0;
    }
    exact = true;
    const auto place = RowOf(packet);
    if (!place) return 0;
    Row& row = rows[*place];
    if (row.stretch == stretch) return Next(row, time.ticks);
    row = {time.ticks, 0, 0, row.pauses, stretch};
    return 0;
}

uint64_t PeriodGaps::Next(Row& row, uint64_t ticks) const {
    const uint64_t distance = ticks - row.last;
    if (distance == 0) return 0;  // several at once
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
