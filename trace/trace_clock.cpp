#include "trace/trace_clock.h"

#include <algorithm>
#include <array>

namespace Korr::Plim::Trace::Swo {
namespace {

constexpr uint64_t kLowBits = 26;
constexpr uint64_t kLowMask = (uint64_t{1} << kLowBits) - 1;
constexpr uint8_t kWholeLowPart = 4;  // payload bytes
constexpr uint32_t kFewestCompared = 4;
constexpr uint64_t kApart = 2;  // ticks: the two timestamps are taken some cycles apart

}  // namespace

std::string_view QualityName(TimeQuality quality) {
    static constexpr std::array<std::string_view, 4> kNames = {"exact", "bounded", "late", "none"};
    return kNames[static_cast<size_t>(quality)];
}

void TraceClock::OnTelling(const Packet& packet) {
    switch (packet.kind) {
        case PacketKind::LocalTime:
            return OnLocalTime(packet);
        case PacketKind::GlobalTimeLow:
            return OnGlobalTimeLow(packet);
        case PacketKind::GlobalTimeHigh:
            global = (global & kLowMask) | ValueOf(packet) << kLowBits;
            highKnown = true;
            globalIsNew = true;
            return;
        default:  // what was lost before it, or with it
            late = true;
            globalIsNew = false;
            return;
    }
}

void TraceClock::OnLocalTime(const Packet& packet) {
    const uint64_t before = last.ticks;
    last.ticks += packet.value;
    if (globalIsNew && GlobalTime()) Compare(global);
    globalIsNew = false;
    const bool delayed = (packet.flags & (kTimestampDelayed | kPacketDelayed)) != 0;
    last.quality = late ? TimeQuality::Late : delayed ? TimeQuality::Bounded : TimeQuality::Exact;
    last.earliest = last.quality == TimeQuality::Bounded ? before : last.ticks;
}

void TraceClock::OnGlobalTimeLow(const Packet& packet) {
    const uint64_t sent = packet.size >= kWholeLowPart ? kLowMask : (uint64_t{1} << 7 * packet.size) - 1;
    global = (global & ~sent) | (packet.value & sent);
    if (packet.size >= kWholeLowPart) lowKnown = true;
    if ((packet.flags & kTimeWrapped) != 0) highKnown = false;
    if ((packet.flags & kClockChanged) != 0) {
        ++clockChanges;
        anchor.valid = false;
        rateDiffers = false;
        compared = 0;
        usuallyApart = 0;
    }
    globalIsNew = true;
}

void TraceClock::Compare(uint64_t now) {
    const uint64_t passed = last.ticks - anchor.ticks;
    const uint64_t globalPassed = (now - anchor.global) / cyclesPerTick;
    const bool comparable = anchor.valid && now >= anchor.global;
    if (comparable && late && !rateDiffers && globalPassed >= passed) {
        ticksFound += globalPassed - passed;
        last.ticks = anchor.ticks + globalPassed;
        late = false;
    } else if (comparable && !late) {
        CompareExact(passed, globalPassed);
    }
    if (!late) anchor = {now, last.ticks, true};
}

/// No loss was told since the last anchor.
void TraceClock::CompareExact(uint64_t passed, uint64_t globalPassed) {
    const uint64_t apart = globalPassed > passed ? globalPassed - passed : passed - globalPassed;
    if (compared >= kFewestCompared && globalPassed > passed && apart > kApart + 4 * usuallyApart) {
        missed = apart;
        ticksFound += apart;
        last.ticks += apart;
        return;
    }
    compared += compared < kFewestCompared ? 1 : 0;
    usuallyApart = std::max(usuallyApart, apart);
    rateDiffers = apart > kApart + passed / 100;
}

PacketTime TraceClock::Open() const {
    if (last.quality == TimeQuality::None) return last;
    return {last.ticks, last.ticks, late ? TimeQuality::Late : TimeQuality::Bounded};
}

std::optional<uint64_t> TraceClock::GlobalTime() const {
    if (!lowKnown || !highKnown) return std::nullopt;
    return global;
}

}  // namespace Korr::Plim::Trace::Swo
