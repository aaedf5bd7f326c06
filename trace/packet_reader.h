#pragma once

#include <bit>
#include <cstddef>

#include "trace/header_table.h"
#include "trace/packets.h"

/// \file
/// The grammar of one packet. All of it but runs of zeros, which have no upper limit.

namespace Korr::Plim::Trace::Swo {

/// How many bytes must be readable from a packet's first byte on, whether they belong to it or not.
inline constexpr size_t kReadable = 8;
/// The longest packet that is no synchronisation.
inline constexpr size_t kLongestPacket = 7;
/// Fewer zero bytes before the 0x80 of a synchronisation are none: 47 zero bits, 7 of them in the last byte.
inline constexpr size_t kFewestZeros = 5;
inline constexpr uint8_t kLastOfSync = 0x80;

/// Signatures are small numbers, one for each kind, source and size of packets. Those below this are the
/// header's entry in the table and, above it, the stimulus page; from it on there is one per exception.
inline constexpr uint16_t kExceptionSignatures = 2048;
inline constexpr uint16_t kSignatures = kExceptionSignatures + 512;

inline uint32_t LoadLittleEndian(const uint8_t* bytes) {
    return static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
           static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

/// Numbers whose bytes say in their highest bit whether another one follows.
struct ContinuedNumber {
    uint64_t value;
    uint8_t bytes;  ///< 0: no byte of those allowed was the last
};

inline ContinuedNumber ReadContinued(const uint8_t* bytes) {
    const uint32_t word = LoadLittleEndian(bytes);
    const uint32_t last = ~word & 0x80808080U;
    if (last == 0) return {0, 0};
    const auto count = static_cast<unsigned>(std::countr_zero(last)) / 8 + 1;
    const uint32_t all =
        (word & 0x7FU) | (word >> 1 & 0x3F80U) | (word >> 2 & 0x1FC000U) | (word >> 3 & 0xFE00000U);
    return {all & ((1U << 7 * count) - 1), static_cast<uint8_t>(count)};
}

inline ContinuedNumber ReadContinued6(const uint8_t* bytes) {
    ContinuedNumber number = ReadContinued(bytes);
    if (number.bytes != 0) return number;
    for (unsigned i = 0; i < 6; ++i) {
        number.value |= uint64_t{bytes[i] & 0x7FU} << 7 * i;
        if (bytes[i] < 0x80) return {number.value, static_cast<uint8_t>(i + 1)};
    }
    return {0, 0};
}

/// What stands at a place. `packet` lacks offset and the flags of any packet. Malformed and Reserved have the
/// length that the grammar gives them.
struct Reading {
    Packet packet;
    uint16_t signature;
};

namespace packet_reader_detail {

inline constexpr uint32_t kPayloadMask[5] = {0, 0xFF, 0xFFFF, 0, 0xFFFFFFFF};

inline Reading Broken(const uint8_t* bytes, size_t length, PacketKind kind, MalformedReason reason) {
    const auto size = static_cast<uint8_t>(length);
    return {{0, bytes[0], static_cast<uint16_t>(reason), kind, size, size, 0}, 0};
}

inline Reading Malformed(const uint8_t* bytes, size_t length, MalformedReason reason) {
    return Broken(bytes, length, PacketKind::Malformed, reason);
}

inline Reading ReadSelfEnding(const uint8_t* bytes, const HeaderEntry& entry) {
    const bool high = entry.action == HeaderAction::GlobalTimeHigh;
    const ContinuedNumber number = high ? ReadContinued6(bytes + 1) : ReadContinued(bytes + 1);
    if (number.bytes == 0) return Malformed(bytes, entry.payload + size_t{1}, MalformedReason::Continuation);
    Packet packet{0,
                  static_cast<uint32_t>(number.value),
                  entry.source,
                  entry.kind,
                  number.bytes,
                  number.bytes + 1U,
                  entry.flags};
    if (high) {
        packet.source = static_cast<uint16_t>(number.value >> 32);
    } else if (entry.action == HeaderAction::Extension) {
        packet.value = packet.value << 3 | entry.value;
    } else if (entry.action == HeaderAction::GlobalTimeLow) {
        packet.flags = static_cast<uint8_t>(packet.value >> 26 & (kClockChanged | kTimeWrapped));
        packet.value &= 0x3FFFFFF;
    }
    return {packet, entry.signature};
}

inline Reading ReadException(const uint8_t* bytes) {
    const uint32_t payload = bytes[1] | static_cast<uint32_t>(bytes[2]) << 8;
    const auto function = static_cast<uint8_t>(payload >> 12 & 3);
    if (function == 0) return Malformed(bytes, 3, MalformedReason::ExceptionFunction);
    const auto number = static_cast<uint16_t>(payload & 0x1FF);
    return {{0, payload, number, PacketKind::Exception, 2, 3, function},
            static_cast<uint16_t>(kExceptionSignatures + number)};
}

/// Of packets that share a header, one has the header's entry for a signature; the other has that of the
/// reserved header before it.
constexpr uint16_t Other(uint8_t signature) { return signature ^ 1; }

inline Reading ReadPcByte(const uint8_t* bytes, const HeaderEntry& entry) {
    if (bytes[1] == 0) return {{0, 0, 0, PacketKind::PcSleep, 1, 2, 0}, entry.signature};
    if (bytes[1] == 0xFF && entry.value != 0) {
        return {{0, 0xFF, 0, PacketKind::PcProhibited, 1, 2, 0}, Other(entry.signature)};
    }
    return Malformed(bytes, 2, MalformedReason::PcByte);
}

inline Reading ReadMatchByte(const uint8_t* bytes, const HeaderEntry& entry) {
    const uint8_t value = bytes[1];
    if (value == 1) return {{0, 1, entry.source, PacketKind::DataMatch, 1, 2, 0}, entry.signature};
    if ((value & 1) == 0) {
        return {{0, value, entry.source, PacketKind::DataPc, 1, 2, 0}, Other(entry.signature)};
    }
    return {{0, value, static_cast<uint16_t>(bytes[0] >> 3), PacketKind::UnknownHardware, 1, 2, 0},
            entry.signature};
}

}  // namespace packet_reader_detail

/// A packet whose entry says Fixed, and nothing else.
inline Reading ReadFixed(const uint8_t* bytes, const HeaderEntry& entry, uint8_t page) {
    const uint32_t payload = LoadLittleEndian(bytes + 1) & packet_reader_detail::kPayloadMask[entry.payload];
    const unsigned ports = page & entry.paged;
    return {{0, payload | entry.value, static_cast<uint16_t>(entry.source | ports << 5), entry.kind,
             entry.payload, entry.payload + 1U, entry.flags},
            static_cast<uint16_t>(entry.signature | ports << 8)};
}

/// A local timestamp of more than one byte.
inline Reading ReadLocalTime(const uint8_t* bytes, const HeaderEntry& entry) {
    const ContinuedNumber number = ReadContinued(bytes + 1);
    if (number.bytes == 0) {
        return packet_reader_detail::Malformed(bytes, entry.payload + size_t{1},
                                               MalformedReason::Continuation);
    }
    return {{0, static_cast<uint32_t>(number.value), 0, PacketKind::LocalTime, number.bytes,
             number.bytes + 1U, entry.flags},
            entry.signature};
}

/// Everything but Fixed and Zero.
inline Reading ReadOther(const uint8_t* bytes, const HeaderEntry& entry) {
    using namespace packet_reader_detail;
    switch (entry.action) {
        case HeaderAction::LocalTime:
            return ReadLocalTime(bytes, entry);
        case HeaderAction::GlobalTimeLow:
        case HeaderAction::GlobalTimeHigh:
        case HeaderAction::Extension:
            return ReadSelfEnding(bytes, entry);
        case HeaderAction::Exception:
            return ReadException(bytes);
        case HeaderAction::PcByte:
            return ReadPcByte(bytes, entry);
        case HeaderAction::MatchByte:
            return ReadMatchByte(bytes, entry);
        case HeaderAction::Page:
        case HeaderAction::Overflow:
            return {{0, entry.value, 0, entry.kind, 0, 1, 0}, entry.signature};
        default:
            return Broken(bytes, 1, PacketKind::Reserved, MalformedReason{});
    }
}

/// What begins at `bytes`, of which kReadable can be read. A synchronisation is told as one byte: whoever
/// reads it counts the zeros.
inline Reading ReadPacket(const uint8_t* bytes, const HeaderTable& table, uint8_t page) {
    const HeaderEntry& entry = table[bytes[0]];
    if (entry.action == HeaderAction::Fixed) return ReadFixed(bytes, entry, page);
    if (entry.action == HeaderAction::Zero) return {{0, 0, 0, PacketKind::Sync, 1, 1, 0}, 0};
    return ReadOther(bytes, entry);
}

}  // namespace Korr::Plim::Trace::Swo
