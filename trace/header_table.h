#pragma once

#include <array>

#include "trace/packets.h"

/// \file
/// What the first byte of a packet tells. In binary, s the payload's size (1, 2, 3: 1, 2, 4 bytes):
///
///     0000_0000  synchronisation          0ttt_0000  local timestamp of 1 to 6 ticks
///     0111_0000  overflow                 11cc_0000  local timestamp, ticks follow
///     1001_0100  global timestamp, low    1011_0100  global timestamp, high
///     ceee_1h00  extension                aaaa_a0ss  stimulus port a
///     dddd_d1ss  hardware source d        all others are reserved

namespace Korr::Plim::Trace::Swo {

enum class Architecture : uint8_t {
    Any,  ///< all that is assigned in either
    Armv7M,
    Armv8M,
};

enum class HeaderAction : uint8_t {
    Fixed,      ///< header and payload tell all, the entry says how
    Zero,       ///< begins a synchronisation
    LocalTime,  ///< these four: up to `payload` bytes follow, the highest bit of each tells whether it is the
                ///< last
    GlobalTimeLow,
    GlobalTimeHigh,
    Extension,
    Page,
    Overflow,
    Exception,
    PcByte,
    MatchByte,
    Reserved,
};

struct HeaderEntry {
    HeaderAction action;
    uint8_t payload;  ///< bytes; the most there can be where they end themselves
    PacketKind kind;
    uint8_t source;
    uint8_t value;  ///< of the header; of PcByte whether "prohibited" is assigned
    uint8_t flags;
    uint8_t signature;  ///< what is one and the same source (see KnownPackets)
    uint8_t paged;      ///< all ones when the stimulus page counts
};
static_assert(sizeof(HeaderEntry) == 8);
using HeaderTable = std::array<HeaderEntry, 256>;

namespace header_table_detail {

constexpr uint8_t kSizes[4] = {0, 1, 2, 4};
constexpr uint8_t kLocalTimeShort = 0x10;
constexpr uint8_t kLocalTimeLong = 0xC0;

constexpr HeaderEntry Plain(HeaderAction action, unsigned payload, PacketKind kind, unsigned header) {
    return {action, static_cast<uint8_t>(payload), kind, 0, 0, 0, static_cast<uint8_t>(header), 0};
}

/// Headers whose lowest two bits are 0.
constexpr HeaderEntry Protocol(unsigned header) {
    if (header == 0x00) return Plain(HeaderAction::Zero, 0, PacketKind::Sync, header);
    if (header == 0x70) return Plain(HeaderAction::Overflow, 0, PacketKind::Overflow, header);
    if (header == 0x94) return Plain(HeaderAction::GlobalTimeLow, 4, PacketKind::GlobalTimeLow, header);
    if (header == 0xB4) return Plain(HeaderAction::GlobalTimeHigh, 6, PacketKind::GlobalTimeHigh, header);
    if ((header & 0x8F) == 0) {
        HeaderEntry entry = Plain(HeaderAction::Fixed, 0, PacketKind::LocalTime, kLocalTimeShort);
        entry.value = static_cast<uint8_t>(header >> 4);
        return entry;
    }
    if ((header & 0xCF) == 0xC0) {
        HeaderEntry entry = Plain(HeaderAction::LocalTime, 4, PacketKind::LocalTime, kLocalTimeLong);
        entry.flags = static_cast<uint8_t>(header >> 4 & kKindFlags);
        return entry;
    }
    if ((header & 0x0B) != 0x08) return Plain(HeaderAction::Reserved, 0, PacketKind::Reserved, header);
    const bool hardware = (header & 0x04) != 0;
    const bool more = (header & 0x80) != 0;
    HeaderEntry entry = more       ? Plain(HeaderAction::Extension, 4, PacketKind::Extension, header)
                        : hardware ? Plain(HeaderAction::Fixed, 0, PacketKind::Extension, header)
                                   : Plain(HeaderAction::Page, 0, PacketKind::StimulusPage, header);
    entry.source = hardware ? 1 : 0;
    entry.value = static_cast<uint8_t>(header >> 4 & 7);
    return entry;
}

/// Data trace of comparator 0 to 3; for ARMv8-M not checked against the architecture's own manual.
constexpr HeaderEntry DataTrace(unsigned header, unsigned discriminator, unsigned size, bool v8m) {
    HeaderEntry entry = Plain(HeaderAction::Fixed, size, PacketKind::DataValue, header);
    entry.source = static_cast<uint8_t>(discriminator >> 1 & 3);
    if (discriminator >= 16) {
        entry.flags = static_cast<uint8_t>(discriminator & kWrite);
        return entry;
    }
    const bool address = (discriminator & 1) != 0;
    entry.kind = address ? PacketKind::DataAddress : PacketKind::DataPc;
    if (!address && size == 1) entry.action = HeaderAction::MatchByte;
    if (size != (address ? 2U : 4U) && !v8m) {
        entry.action = HeaderAction::Fixed;
        entry.kind = PacketKind::UnknownHardware;
        entry.source = static_cast<uint8_t>(discriminator);
    }
    return entry;
}

constexpr HeaderEntry Hardware(unsigned header, bool v8m) {
    const unsigned discriminator = header >> 3;
    const unsigned size = kSizes[header & 3];
    if (discriminator >= 8 && discriminator < 24) return DataTrace(header, discriminator, size, v8m);
    if (discriminator == 0 && size == 1) {
        return Plain(HeaderAction::Fixed, 1, PacketKind::EventCounters, header);
    }
    if (discriminator == 1 && size == 2) {
        return Plain(HeaderAction::Exception, 2, PacketKind::Exception, header);
    }
    if (discriminator == 2 && size == 4) return Plain(HeaderAction::Fixed, 4, PacketKind::PcSample, header);
    if (discriminator == 2 && size == 1) {
        HeaderEntry entry = Plain(HeaderAction::PcByte, 1, PacketKind::PcSleep, header);
        entry.value = v8m ? 1 : 0;
        return entry;
    }
    if (discriminator == 3 && size == 1 && v8m) {
        return Plain(HeaderAction::Fixed, 1, PacketKind::PmuOverflow, header);
    }
    HeaderEntry entry = Plain(HeaderAction::Fixed, size, PacketKind::UnknownHardware, header);
    entry.source = static_cast<uint8_t>(discriminator);
    return entry;
}

constexpr HeaderTable MakeTable(bool v8m) {
    HeaderTable table{};
    for (unsigned header = 0; header < table.size(); ++header) {
        if ((header & 3) == 0) {
            table[header] = Protocol(header);
        } else if ((header & 4) != 0) {
            table[header] = Hardware(header, v8m);
        } else {
            table[header] = Plain(HeaderAction::Fixed, kSizes[header & 3], PacketKind::Stimulus, header);
            table[header].source = static_cast<uint8_t>(header >> 3);
            table[header].paged = 0xFF;
        }
    }
    return table;
}

}  // namespace header_table_detail

inline constexpr HeaderTable kHeadersArmv7M = header_table_detail::MakeTable(false);
inline constexpr HeaderTable kHeadersArmv8M = header_table_detail::MakeTable(true);

constexpr const HeaderTable& HeadersOf(Architecture architecture) {
    return architecture == Architecture::Armv7M ? kHeadersArmv7M : kHeadersArmv8M;
}

}  // namespace Korr::Plim::Trace::Swo
