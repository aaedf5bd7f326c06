#include "trace/ledger.h"

#include <algorithm>

namespace Korr::Plim::Trace::Swo {

namespace {

constexpr uint64_t kLongestBeginning = 24;  // bytes: damage by a beginning inside a packet ends before
constexpr uint32_t kTimestampCounter = uint32_t{1} << 21;  // ticks after which the target's counter overflows

struct Description {
    std::string_view name;
    LossClass lossClass;
};
constexpr std::array<Description, kLossKinds> kKinds = {{{"itm-overflow", LossClass::Target},
                                                         {"timestamp-overflow", LossClass::Target},
                                                         {"delayed", LossClass::Target},
                                                         {"malformed", LossClass::Line},
                                                         {"reserved", LossClass::Line},
                                                         {"unsynchronised", LossClass::Line},
                                                         {"frame-step", LossClass::Line},
                                                         {"order-hint", LossClass::Line},
                                                         {"kind-hint", LossClass::Line},
                                                         {"exit-hint", LossClass::Line},
                                                         {"time-hint", LossClass::Line},
                                                         {"truncated-end", LossClass::Edge},
                                                         {"start-mid-packet", LossClass::Edge},
                                                         {"driver-overrun", LossClass::Host},
                                                         {"driver-buffer-overrun", LossClass::Host},
                                                         {"framing", LossClass::Host},
                                                         {"parity", LossClass::Host},
                                                         {"break", LossClass::Host},
                                                         {"port-lost", LossClass::Host},
                                                         {"reader-stopped", LossClass::Host},
                                                         {"counter-gap", LossClass::Gap},
                                                         {"period-gap", LossClass::Gap},
                                                         {"global-gap", LossClass::Gap},
                                                         {"arrival-gap", LossClass::Gap}}};

LedgerEntry EntryOf(LossKind kind, uint64_t offset) {
    LedgerEntry entry;
    entry.kind = kind;
    entry.lossClass = kKinds[static_cast<size_t>(kind)].lossClass;
    entry.offset = offset;
    return entry;
}

LedgerEntry GapOf(LossKind kind, uint64_t offset, const PacketTime& time, uint64_t missing) {
    LedgerEntry entry = EntryOf(kind, offset);
    entry.ticks = time.ticks;
    entry.timeQuality = time.quality;
    entry.missing = missing;
    entry.missingKnown = true;
    return entry;
}

LossKind DamageKind(PacketKind kind) {
    switch (kind) {
        case PacketKind::Reserved:
            return LossKind::Reserved;
        case PacketKind::Unsynchronised:
            return LossKind::Unsynchronised;
        case PacketKind::TruncatedEnd:
            return LossKind::TruncatedEnd;
        default:
            return LossKind::Malformed;
    }
}

bool IsDamageEntry(LossKind kind) {
    return kind == LossKind::Malformed || kind == LossKind::Reserved || kind == LossKind::Unsynchronised ||
           kind == LossKind::StartMidPacket;
}

}  // namespace

std::string_view LossKindName(LossKind kind) { return kKinds[static_cast<size_t>(kind)].name; }

std::string_view LossClassName(LossClass lossClass) {
    static constexpr std::array<std::string_view, kLossClasses> kNames = {"target", "line", "host", "gap",
                                                                          "edge"};
    return kNames[static_cast<size_t>(lossClass)];
}

void LedgerBlock::Add(const LedgerBlock& more) {
    for (size_t i = 0; i < certain.size(); ++i) {
        certain[i] += more.certain[i];
        hints[i] += more.hints[i];
    }
}

uint64_t LedgerBlock::Places() const {
    uint64_t places = 0;
    for (const uint64_t number : certain) places += number;
    for (const uint64_t number : hints) places += number;
    return places;
}

Ledger::Ledger(const Options& wanted) : options(wanted), waiting(wanted.waitForSync) {
    for (int kind = static_cast<int>(PacketKind::Reserved); kind < kPacketKinds; ++kind) {
        watched[static_cast<size_t>(kind)] = true;
    }
    watched[static_cast<size_t>(PacketKind::Overflow)] = true;
    watched[static_cast<size_t>(PacketKind::Exception)] = true;
    watched[static_cast<size_t>(PacketKind::GlobalTimeHigh)] = true;
    watched[static_cast<size_t>(PacketKind::Sync)] = waiting;
    watched[static_cast<size_t>(PacketKind::Stimulus)] = options.counterPort.has_value();
    exceptions.Lose();  // a recording may begin inside an exception
}

void Ledger::Look(const Packet& packet, const PacketTime& time) {
    LedgerEntry entry = EntryOf(LossKind::Malformed, packet.offset);
    entry.ticks = time.ticks;
    entry.timeQuality = time.quality;
    if (IsDamage(packet.kind)) {
        exceptions.Lose();
        OnDamage(packet, entry);
        return;
    }
    if (packet.kind == PacketKind::Sync) waiting = watched[static_cast<size_t>(PacketKind::Sync)] = false;
    if (packet.kind == PacketKind::Exception) OnException(packet, entry);
    if (packet.kind == PacketKind::GlobalTimeHigh) OnGlobalTime(packet, entry);
    if ((packet.flags & (kOrderHint | kKindHint)) != 0) OnHint(packet, entry);
    if (packet.kind == PacketKind::Overflow) OnOverflow(packet, entry);
    if (packet.kind == PacketKind::LocalTime && (packet.flags & kKindFlags) != 0) {
        LedgerEntry delayed = EntryOf(LossKind::Delayed, packet.offset);
        delayed.length = packet.length;
        delayed.ticks = time.ticks;
        delayed.timeQuality = time.quality;
        delayed.hint = true;
        Count(delayed);
        if (!Merge(delayed, kBurst)) Keep(delayed);
    }
    if (packet.kind == PacketKind::Stimulus && options.counterPort == packet.source) OnCounter(packet, entry);
    AfterUsual(packet);
    if ((packet.flags & kSuspect) == 0) return;
    ++totals.suspectPackets;
    if (suspects++ == 0) suspectFrom = packet.offset;
}

bool Ledger::AtTheBeginning(const Packet& packet) const {
    return waiting || packet.offset + packet.length <= begin.value_or(0) + kLongestBeginning;
}

void Ledger::OnDamage(const Packet& packet, LedgerEntry entry) {
    entry.length = packet.length;
    entry.kind = DamageKind(packet.kind);
    entry.lossClass = kKinds[static_cast<size_t>(entry.kind)].lossClass;
    if (packet.kind == PacketKind::Malformed) entry.reason = static_cast<uint8_t>(packet.source);
    if (packet.kind == PacketKind::TruncatedEnd) {
        Count(entry);
        Keep(entry);
        return;
    }
    totals.damagedBytes += packet.length;
    entry.suspects = suspects;
    entry.suspectFrom = suspectFrom;
    suspects = 0;
    lastLocalTime = 0;
    // What follows directly, however it is called, is the same place.
    const bool touches = packet.offset == damageEnd;
    damageEnd = packet.offset + packet.length;
    if (touches && !unlisted.empty()) return;
    if (!entries.empty() && unlisted.empty()) {
        LedgerEntry& before = entries.back();
        if (IsDamageEntry(before.kind) && before.offset + before.length == packet.offset) {
            before.length += packet.length;
            if (before.kind == LossKind::StartMidPacket && !AtTheBeginning(packet)) BecomeLoss(before);
            return;
        }
    }
    if (AtTheBeginning(packet)) {
        entry.kind = LossKind::StartMidPacket;
        entry.lossClass = LossClass::Edge;
    }
    Count(entry);
    Keep(entry);
}

/// Too long for a beginning inside a packet.
void Ledger::BecomeLoss(LedgerEntry& entry) {
    --totals.places[static_cast<size_t>(entry.kind)];
    entry.kind = LossKind::Unsynchronised;
    entry.lossClass = LossClass::Line;
    Count(entry);
}

void Ledger::OnHint(const Packet& packet, LedgerEntry entry) {
    // An overflow tells of a loss itself, and both come when they come.
    if (packet.kind == PacketKind::Overflow || packet.kind == PacketKind::Sync) return;
    entry.kind = (packet.flags & kKindHint) != 0 ? LossKind::KindHint : LossKind::OrderHint;
    entry.hint = true;
    entry.source = packet.source;
    Count(entry);
    Keep(entry);
}

/// Only where it is known what runs: behind a return to thread mode, up to the next loss.
void Ledger::OnException(const Packet& packet, LedgerEntry entry) {
    const bool exit = (packet.flags & kKindFlags) == kExited;
    const bool odd = exit && exceptions.Known() && !exceptions.Runs(packet.source);
    exceptions.OnPacket(packet);
    if (!odd || (packet.flags & (kSuspect | kOrderHint | kKindHint)) != 0) return;
    entry.kind = LossKind::ExitHint;
    entry.hint = true;
    entry.source = packet.source;
    Add(entry);
}

void Ledger::OnGlobalTime(const Packet& packet, LedgerEntry entry) {
    constexpr uint8_t kBytesOf48 = 4;
    constexpr uint8_t kBytesOf64 = 6;
    if (packet.size == kBytesOf48 || packet.size == kBytesOf64) return;
    entry.kind = LossKind::TimeHint;
    entry.source = packet.size;
    entry.hint = true;
    Add(entry);
}

void Ledger::OnOverflow(const Packet& packet, LedgerEntry entry) {
    exceptions.Lose();
    entry.kind = lastLocalTime >= kTimestampCounter ? LossKind::TimestampOverflow : LossKind::ItmOverflow;
    entry.lossClass = LossClass::Target;
    entry.length = packet.length;
    lastOverflow = packet.offset;
    Count(entry);
    if (!Merge(entry, kBurst)) Keep(entry);
}

void Ledger::OnCounter(const Packet& packet, const LedgerEntry& entry) {
    counter.Take({packet.value,
                  packet.size,
                  packet.offset,
                  {entry.ticks, entry.ticks, entry.timeQuality},
                  (packet.flags & kSuspect) != 0});
    if (counter.First()) AddGap(*counter.First());
    if (counter.Second()) AddGap(*counter.Second());
}

void Ledger::AddGap(const CounterGap& gap) {
    LedgerEntry entry = GapOf(LossKind::CounterGap, gap.offset, gap.time, gap.missing);
    entry.source = *options.counterPort;
    // The target says itself that it dropped something there.
    if (lastOverflow != UINT64_MAX && lastOverflow > gap.from && lastOverflow < gap.offset) {
        entry.lossClass = LossClass::Target;
    }
    totals.missing += gap.missing;
    Add(entry);
}

void Ledger::OnGlobalGap(const Packet& packet, const PacketTime& time, uint64_t ticks) {
    Add(GapOf(LossKind::GlobalGap, packet.offset, time, ticks));
}

void Ledger::OnPeriodGap(const Packet& packet, const PacketTime& time, uint64_t missing) {
    LedgerEntry entry = GapOf(LossKind::PeriodGap, packet.offset, time, missing);
    entry.source = packet.source;
    entry.hint = true;
    Add(entry);
}

void Ledger::OnSilences(std::span<const Silence> silences) {
    for (const Silence& silence : silences) {
        LedgerEntry entry = GapOf(LossKind::ArrivalGap, silence.offset, {}, silence.milliseconds);
        entry.hint = true;
        Add(entry);
    }
    Sort();
}

void Ledger::OnFrameStep(uint64_t from, uint64_t to, unsigned phase) {
    LedgerEntry entry = EntryOf(LossKind::FrameStep, from);
    entry.length = to > from ? to - from : 0;
    entry.source = static_cast<uint16_t>(phase);
    Add(entry);
}

void Ledger::OnHost(LossKind kind, uint64_t count, uint64_t offset) {
    if (count == 0) return;
    LedgerEntry entry = EntryOf(kind, offset);
    entry.count = static_cast<uint32_t>(std::min<uint64_t>(count, UINT32_MAX));
    Add(entry);
}

void Ledger::Add(const LedgerEntry& entry) {
    Count(entry);
    Keep(entry);
}

void Ledger::Count(const LedgerEntry& entry) {
    totals.places[static_cast<size_t>(entry.kind)] += entry.count;
    if (entry.hint) {
        totals.hints += entry.count;
    } else if (entry.lossClass == LossClass::Target) {
        totals.lostInTarget += entry.count;
    } else if (entry.lossClass != LossClass::Edge) {
        totals.lostOnTheWay += entry.count;
    }
}

/// Adds an entry to the last one of its kind when that ends at most `reach` bytes before it.
bool Ledger::Merge(const LedgerEntry& entry, uint64_t reach) {
    if (entries.empty() || !unlisted.empty()) return false;
    LedgerEntry& before = entries.back();
    if (before.kind != entry.kind || before.offset + before.length + reach < entry.offset) return false;
    before.length = entry.offset + entry.length - before.offset;
    before.count += before.count < UINT32_MAX ? 1 : 0;
    return true;
}

void Ledger::Keep(const LedgerEntry& entry) {
    if (entries.size() < kMostEntries) {
        entries.push_back(entry);
        return;
    }
    const uint64_t block = entry.offset / blockSize * blockSize;
    if (!unlisted.empty() && unlisted.back().offset >= block) {
        unlisted.back().Add(entry);
        return;
    }
    unlisted.push_back({block, {}, {}});
    unlisted.back().Add(entry);
    while (unlisted.size() > kMostBlocks) DoubleBlocks();
}

void Ledger::DoubleBlocks() {
    blockSize *= 2;
    std::vector<LedgerBlock> wider;
    for (const LedgerBlock& block : unlisted) {
        const uint64_t offset = block.offset / blockSize * blockSize;
        if (!wider.empty() && wider.back().offset == offset) {
            wider.back().Add(block);
        } else {
            wider.push_back({offset, block.certain, block.hints});
        }
    }
    unlisted = std::move(wider);
}

void Ledger::Finish() {
    counter.Finish();
    if (counter.First()) AddGap(*counter.First());
    Sort();
}

void Ledger::Sort() {
    std::stable_sort(entries.begin(), entries.end(),
                     [](const LedgerEntry& a, const LedgerEntry& b) { return a.offset < b.offset; });
}

uint64_t Ledger::UnlistedPlaces() const {
    uint64_t places = 0;
    for (const LedgerBlock& block : unlisted) places += block.Places();
    return places;
}

}  // namespace Korr::Plim::Trace::Swo
