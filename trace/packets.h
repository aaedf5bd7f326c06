#pragma once

#include <cstdint>
#include <string_view>
#include <type_traits>

/// \file
/// What a trace stream of the Instrumentation Trace Macrocell (ITM) and the Data Watchpoint and Trace unit
/// (DWT) consists of.

namespace Korr::Plim::Trace::Swo {

enum class PacketKind : uint8_t {
    Sync,            ///< synchronisation: at least 47 zero bits and a one
    Overflow,        ///< packets were dropped in the target
    LocalTime,       ///< local timestamp, of both forms: ticks since the last one
    GlobalTimeLow,   ///< bits 25:0 of the global timestamp, the changed low-order part
    GlobalTimeHigh,  ///< bits 26 and up
    StimulusPage,    ///< which 32 stimulus ports the following packets mean
    Extension,       ///< extension packets without an assigned meaning
    Stimulus,        ///< what software wrote to a stimulus port
    EventCounters,   ///< which event counters wrapped
    Exception,
    PcSample,
    PcSleep,       ///< a PC sample while the processor slept
    PcProhibited,  ///< a PC sample while trace was prohibited (ARMv8-M)
    PmuOverflow,   ///< which performance counters wrapped (ARMv8.1-M)
    DataMatch,     ///< a comparator matched (ARMv8-M)
    DataPc,
    DataAddress,
    DataValue,
    UnknownHardware,  ///< well formed, but the discriminator or its size is not assigned
    Reserved,         ///< a header without a meaning; here the decoder lost step
    Malformed,        ///< bytes that are no packet; here the decoder lost step
    Unsynchronised,   ///< bytes given up until the decoder was in step again
    TruncatedEnd,     ///< the stream ended inside a packet
};
inline constexpr int kPacketKinds = static_cast<int>(PacketKind::TruncatedEnd) + 1;

/// The name that files and reports show: "local-time".
std::string_view KindName(PacketKind kind);

/// One packet, or one run of bytes that is none. The packets of a stream follow each other without a gap.
struct Packet {
    uint64_t offset;  ///< of the first byte in the stream
    /// The payload, zero extended. LocalTime: ticks. GlobalTimeLow: time bits; only the lowest 7 for each
    /// byte of `size` were sent. GlobalTimeHigh: the lower 32 of its time bits. StimulusPage: the page.
    /// Reserved, Malformed, TruncatedEnd: the first byte.
    uint32_t value;
    /// Stimulus: port 0 to 255. Exception: its number, 0 to 511. DataMatch, DataPc, DataAddress, DataValue:
    /// the comparator. UnknownHardware: the discriminator. Extension: 1 when from hardware. GlobalTimeHigh:
    /// time bits above the lower 32. Malformed: a MalformedReason. Else 0.
    uint16_t source;
    PacketKind kind;
    uint8_t size;     ///< payload bytes; of runs of bytes the smaller of `length` and 255
    uint32_t length;  ///< all bytes
    uint8_t flags;    ///< of the packet's kind, see below, and those of any packet
};
static_assert(sizeof(Packet) == 24 && std::is_trivially_copyable_v<Packet>);

enum class MalformedReason : uint8_t {
    Continuation,       ///< the last possible payload byte says that more follow
    ZerosWithoutOne,    ///< zero bytes that are no synchronisation
    ExceptionFunction,  ///< neither entered, left nor returned to
    PcByte,             ///< a PC sample of one byte, neither sleep nor prohibited
    OutOfStep,          ///< well formed, but only a later beginning gives the packets known from before
    BytesMissing,       ///< the rest of the packet is known to be missing
};

/// Flags of any packet.
inline constexpr uint8_t kSuspect = 0x80;  ///< between the last anchor and damage: what it says may be wrong
inline constexpr uint8_t kSalvaged =
    0x40;  ///< step was found without a synchronisation packet since the last damage
inline constexpr uint8_t kOrderHint = 0x20;  ///< never followed the packet before it; bytes may be missing
inline constexpr uint8_t kKindHint =
    0x10;  ///< such a packet was never seen, after a long time without new ones

/// Flags of one kind, in the lowest bits.
inline constexpr uint8_t kTimestampDelayed = 1;  ///< LocalTime: the timestamp came late
inline constexpr uint8_t kPacketDelayed = 2;     ///< LocalTime: the packet before it came late
inline constexpr uint8_t kClockChanged = 1;      ///< GlobalTimeLow
inline constexpr uint8_t kTimeWrapped =
    2;                                ///< GlobalTimeLow: bits 26 and up have changed; GlobalTimeHigh follows
inline constexpr uint8_t kWrite = 1;  ///< DataValue; else read
inline constexpr uint8_t kKindFlags = 3;

/// Exception: what happened, the lowest two bits of `flags`.
inline constexpr uint8_t kEntered = 1;
inline constexpr uint8_t kExited = 2;
inline constexpr uint8_t kReturned = 3;  ///< to the exception; number 0 is thread mode

/// No packet but bytes: they have neither source nor value.
constexpr bool IsByteRun(PacketKind kind) { return kind == PacketKind::Sync || kind >= PacketKind::Reserved; }

/// Bytes that tell nothing, because something was lost or is wrong.
constexpr bool IsDamage(PacketKind kind) { return kind >= PacketKind::Reserved; }

/// Well formed, with a meaning that the architecture assigns.
constexpr bool IsAssigned(PacketKind kind) {
    return kind < PacketKind::UnknownHardware && kind != PacketKind::Extension;
}

/// The value of any packet; the time bits of GlobalTimeHigh (up to 42) are in two fields.
constexpr uint64_t ValueOf(const Packet& packet) {
    return packet.kind == PacketKind::GlobalTimeHigh ? uint64_t{packet.source} << 32 | packet.value
                                                     : packet.value;
}

}  // namespace Korr::Plim::Trace::Swo
