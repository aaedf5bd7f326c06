#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "trace/arrival_gaps.h"
#include "trace/counter_gaps.h"
#include "trace/exception_timeline.h"
#include "trace/packets.h"
#include "trace/trace_clock.h"

namespace Korr::Plim::Trace::Swo {

/// Where trace was lost.
enum class LossClass : uint8_t {
    Target,  ///< before the pin: the target dropped it, or tells that it came late
    Line,    ///< between the pin and the file
    Host,    ///< the same, as the host's own counters tell
    Gap,     ///< between the pin and the file, as a count or the time tells
    Edge,    ///< nothing was lost: the recording began or ended inside a packet
};
inline constexpr int kLossClasses = 5;

enum class LossKind : uint8_t {
    ItmOverflow,
    TimestampOverflow,
    Delayed,
    Malformed,
    Reserved,
    Unsynchronised,
    FrameStep,
    OrderHint,  ///< an order of packets never seen before
    KindHint,   ///< a packet never seen before
    ExitHint,   ///< the exit of an exception that never entered
    TimeHint,   ///< upper bits of the global time, of neither 48 nor 64 bits
    TruncatedEnd,
    StartMidPacket,
    DriverOverrun,
    DriverBufferOverrun,
    Framing,
    Parity,
    Break,
    PortLost,
    ReaderStopped,
    CounterGap,
    PeriodGap,
    GlobalGap,
    ArrivalGap,
};
inline constexpr int kLossKinds = static_cast<int>(LossKind::ArrivalGap) + 1;

std::string_view LossKindName(LossKind kind);    ///< "itm-overflow"
std::string_view LossClassName(LossClass kind);  ///< "target"

/// One place at which something was lost, or may have been.
struct LedgerEntry {
    uint64_t offset = 0;       ///< of its first byte in the capture
    uint64_t length = 0;       ///< bytes that tell nothing; 0: between two bytes
    uint64_t ticks = 0;        ///< trace time; see timeQuality
    uint64_t missing = 0;      ///< how many values or packets are missing; see missingKnown
    uint64_t suspectFrom = 0;  ///< offset of the first suspect packet before it; see suspects
    uint32_t suspects = 0;     ///< packets before it whose content may be wrong
    uint32_t count = 1;        ///< places that were merged into this one
    LossClass lossClass = LossClass::Line;
    LossKind kind = LossKind::Malformed;
    TimeQuality timeQuality = TimeQuality::None;
    bool hint = false;  ///< perhaps nothing was lost
    bool missingKnown = false;
    uint8_t reason = 0;               ///< of Malformed: a MalformedReason
    uint16_t source = 0;              ///< of gaps: the port or other source; of FrameStep: the phase
    uint8_t byteCount = 0;            ///< of `bytes`
    std::array<uint8_t, 16> bytes{};  ///< the first bytes there, as they stand in the capture

    bool operator==(const LedgerEntry&) const = default;
};

/// What the entries come to.
struct LedgerTotals {
    std::array<uint64_t, kLossKinds> places{};  ///< by kind, merged ones counted one by one
    uint64_t lostInTarget = 0;                  ///< places of class Target that are no hints
    uint64_t lostOnTheWay = 0;  ///< places of the classes Line, Host and Gap that are no hints
    uint64_t hints = 0;
    uint64_t damagedBytes = 0;
    uint64_t suspectPackets = 0;
    uint64_t salvagedBytes = 0;  ///< decoded after damage without a synchronisation packet
    uint64_t missing = 0;        ///< values of the counter port

    uint64_t Of(LossKind kind) const { return places[static_cast<size_t>(kind)]; }
    bool operator==(const LedgerTotals&) const = default;
};

/// Entries that were too many to keep: how many places of each class lie in a part of the capture.
struct LedgerBlock {
    uint64_t offset = 0;
    std::array<uint64_t, kLossClasses> certain{};  ///< those that are no hints
    std::array<uint64_t, kLossClasses> hints{};

    void Add(const LedgerEntry& entry) {
        (entry.hint ? hints : certain)[static_cast<size_t>(entry.lossClass)] += entry.count;
    }
    void Add(const LedgerBlock& more);
    uint64_t Places() const;  ///< of all classes
    bool operator==(const LedgerBlock&) const = default;
};

/// Takes the packets of a capture in their order and keeps what was lost, bounded in memory: entries that
/// touch and are of one kind become one, and behind kMostEntries only numbers are kept, of at most
/// kMostBlocks parts.
class Ledger {
  public:
    static constexpr size_t kMostEntries = 65536;
    static constexpr size_t kMostBlocks = 1024;
    static constexpr uint64_t kBurst = 64;  ///< bytes: overflows no further apart are one entry

    struct Options {
        std::optional<uint8_t> counterPort;  ///< stimulus port that the firmware counts up at every write
        bool waitForSync = false;  ///< what comes before the first synchronisation packet is not missed
    };
    explicit Ledger(const Options& wanted);

    /// Every packet, with its time.
    void OnPacket(const Packet& packet, const PacketTime& time) {
        if (!begin) begin = packet.offset;
        if ((packet.flags & kSalvaged) != 0 && !IsDamage(packet.kind)) totals.salvagedBytes += packet.length;
        const uint8_t unusual = packet.kind == PacketKind::LocalTime ? uint8_t{0xFF & ~kSalvaged} : kUnusual;
        const bool usual = (packet.flags & unusual) == 0 && !watched[static_cast<size_t>(packet.kind)];
        if (usual) {
            AfterUsual(packet);
            return;
        }
        Look(packet, time);
    }
    /// Frames were out of step between two places of the capture.
    /// \param phase by how much the frames begin later than before, 1 to 15 bytes
    void OnFrameStep(uint64_t from, uint64_t to, unsigned phase);
    /// What the host itself knows. To be told at the end, before OnSilences, which puts it in its place.
    /// \param offset bytes captured by then
    void OnHost(LossKind kind, uint64_t count, uint64_t offset);
    /// Ticks are missing before a local timestamp, as the global ones tell.
    void OnGlobalGap(const Packet& packet, const PacketTime& time, uint64_t ticks);
    /// So many packets of a periodic source are missing before this one: a hint.
    void OnPeriodGap(const Packet& packet, const PacketTime& time, uint64_t missing);
    /// A busy line was silent: hints. To be told at the end, last.
    void OnSilences(std::span<const Silence> silences);
    /// The capture has ended.
    void Finish();

    const std::vector<LedgerEntry>& Entries() const { return entries; }
    std::vector<LedgerEntry>& Entries() { return entries; }
    const LedgerTotals& Totals() const { return totals; }
    /// Of the entries that were not kept, in the order of their offsets.
    const std::vector<LedgerBlock>& Unlisted() const { return unlisted; }
    uint64_t UnlistedPlaces() const;

  private:
    void AfterUsual(const Packet& packet) {
        if ((packet.flags & kSuspect) == 0) suspects = 0;
        lastLocalTime = packet.kind == PacketKind::LocalTime ? packet.value : 0;
    }
    void Look(const Packet& packet, const PacketTime& time);
    void OnDamage(const Packet& packet, LedgerEntry entry);
    void OnHint(const Packet& packet, LedgerEntry entry);
    void OnException(const Packet& packet, LedgerEntry entry);
    void OnGlobalTime(const Packet& packet, LedgerEntry entry);
    void OnOverflow(const Packet& packet, LedgerEntry entry);
    void OnCounter(const Packet& packet, const LedgerEntry& entry);
    void AddGap(const CounterGap& gap);
    void Add(const LedgerEntry& entry);
    void Sort();
    bool AtTheBeginning(const Packet& packet) const;
    void Count(const LedgerEntry& entry);
    bool Merge(const LedgerEntry& entry, uint64_t reach);
    void Keep(const LedgerEntry& entry);
    void BecomeLoss(LedgerEntry& entry);
    void DoubleBlocks();

    static constexpr uint8_t kUnusual = kSuspect | kOrderHint | kKindHint;

    Options options;
    std::array<bool, kPacketKinds> watched{};  ///< kinds that are looked at whatever their flags
    CounterGaps counter;
    ExceptionTimeline exceptions;
    std::vector<LedgerEntry> entries;
    LedgerTotals totals;
    std::vector<LedgerBlock> unlisted;
    uint64_t blockSize = uint64_t{1} << 20;
    uint64_t suspectFrom = 0;    ///< offset of the first suspect packet since the last other one
    uint32_t suspects = 0;       ///< suspect packets since then
    uint32_t lastLocalTime = 0;  ///< of the packet before; 0: it was none
    uint64_t lastOverflow = UINT64_MAX;
    uint64_t damageEnd = UINT64_MAX;  ///< offset behind the last damaged packet
    std::optional<uint64_t> begin;    ///< offset of the first packet
    bool waiting;                     ///< for the first synchronisation packet, which is wanted alone
};

}  // namespace Korr::Plim::Trace::Swo
