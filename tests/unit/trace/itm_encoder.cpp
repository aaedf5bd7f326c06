#include "tests/unit/trace/itm_encoder.h"

namespace Korr::Plim::Trace::Swo {
namespace {

uint8_t Byte(uint64_t value) { return static_cast<uint8_t>(value & 0xFF); }

/// Header of a source with `number` in its upper five bits, and the payload.
Bytes Source(unsigned number, bool hardware, const Meant& meant) {
    const unsigned code = meant.size == 4 ? 3 : meant.size;
    Bytes bytes{Byte(number * 8 + (hardware ? 4 : 0) + code)};
    for (unsigned i = 0; i < meant.size; ++i) bytes.push_back(Byte(meant.value >> 8 * i));
    return bytes;
}

/// Exactly meant.size bytes of seven bits.
Bytes Continued(uint8_t header, uint64_t value, unsigned size) {
    Bytes bytes{header};
    for (unsigned i = 0; i < size; ++i) {
        bytes.push_back(Byte((value >> 7 * i & 0x7F) | (i + 1 < size ? 0x80 : 0)));
    }
    return bytes;
}

unsigned Below(std::mt19937& random, unsigned limit) { return static_cast<unsigned>(random() % limit); }

uint64_t Bits(std::mt19937& random, unsigned bits) {
    const uint64_t all = uint64_t{random()} << 32 | random();
    return bits == 0 ? 0 : all >> (64 - bits);
}

uint8_t AnySize(std::mt19937& random) { return static_cast<uint8_t>(1U << Below(random, 3)); }

}  // namespace

Bytes Encode(const Meant& meant, unsigned& page) {
    switch (meant.kind) {
        case PacketKind::Sync: {
            page = 0;
            Bytes zeros(meant.size - 1, 0);
            zeros.push_back(0x80);
            return zeros;
        }
        case PacketKind::Overflow:
            return {0x70};
        case PacketKind::LocalTime:
            if (meant.size == 0) return {Byte(meant.value * 16)};
            return Continued(Byte(0xC0 + meant.flags * 16), meant.value, meant.size);
        case PacketKind::GlobalTimeLow:
            return Continued(0x94, meant.value | uint64_t{meant.flags} << 26, meant.size);
        case PacketKind::GlobalTimeHigh:
            return Continued(0xB4, meant.value, meant.size);
        case PacketKind::StimulusPage:
            page = static_cast<unsigned>(meant.value);
            return {Byte(0x08 + meant.value * 16)};
        case PacketKind::Extension:
            if (meant.size == 0) return {Byte(0x0C + meant.value * 16)};
            return Continued(Byte(0x88 + (meant.value & 7) * 16 + meant.source * 4), meant.value >> 3,
                             meant.size);
        case PacketKind::Stimulus:
            return Source(meant.source % 32, false, meant);
        case PacketKind::EventCounters:
            return Source(0, true, meant);
        case PacketKind::Exception:
            return Source(1, true, meant);
        case PacketKind::PcSample:
        case PacketKind::PcSleep:
        case PacketKind::PcProhibited:
            return Source(2, true, meant);
        case PacketKind::PmuOverflow:
            return Source(3, true, meant);
        case PacketKind::DataMatch:
        case PacketKind::DataPc:
            return Source(8 + 2U * meant.source, true, meant);
        case PacketKind::DataAddress:
            return Source(9 + 2U * meant.source, true, meant);
        case PacketKind::DataValue:
            return Source(16 + 2U * meant.source + meant.flags, true, meant);
        default:
            return Source(meant.source, true, meant);
    }
}

Meant RandomPacket(std::mt19937& random, unsigned page, bool armv8m) {
    const auto kind = static_cast<PacketKind>(Below(random, kPacketKinds));
    const auto comparator = static_cast<uint16_t>(Below(random, 4));
    const uint8_t size = AnySize(random);
    const auto sized = Bits(random, 8U * size);
    const auto continued = static_cast<uint8_t>(1 + Below(random, 4));
    switch (kind) {
        case PacketKind::Sync:
            return {kind, 0, 0, static_cast<uint8_t>(6 + Below(random, 20)), 0};
        case PacketKind::Overflow:
            return {kind, 0, 0, 0, 0};
        case PacketKind::LocalTime:
            if (Below(random, 2) == 0) return {kind, 1 + Below(random, 6), 0, 0, 0};
            return {kind, Bits(random, 7U * continued), 0, continued, static_cast<uint8_t>(Below(random, 4))};
        case PacketKind::GlobalTimeLow:
            if (continued < 4) return {kind, Bits(random, 7U * continued), 0, continued, 0};
            return {kind, Bits(random, 26), 0, 4, static_cast<uint8_t>(Below(random, 4))};
        case PacketKind::GlobalTimeHigh: {
            const auto bytes = static_cast<uint8_t>(1 + Below(random, 6));
            return {kind, Bits(random, 7U * bytes), 0, bytes, 0};
        }
        case PacketKind::StimulusPage:
            return {kind, Below(random, 8), 0, 0, 0};
        case PacketKind::Extension:
            if (Below(random, 2) == 0) return {kind, Below(random, 8), 1, 0, 0};
            return {kind, Bits(random, 3 + 7U * continued), static_cast<uint16_t>(Below(random, 2)),
                    continued, 0};
        case PacketKind::Stimulus:
            return {kind, sized, static_cast<uint16_t>(32 * page + Below(random, 32)), size, 0};
        case PacketKind::EventCounters:
            return {kind, Bits(random, 6), 0, 1, 0};
        case PacketKind::Exception: {
            const auto function = static_cast<uint8_t>(1 + Below(random, 3));
            const auto number = static_cast<uint16_t>(Below(random, 512));
            return {kind, number | uint64_t{function} << 12, number, 2, function};
        }
        case PacketKind::PcSample:
            return {kind, Bits(random, 32), 0, 4, 0};
        case PacketKind::PcSleep:
            return {kind, 0, 0, 1, 0};
        case PacketKind::DataPc:
            if (!armv8m || size == 4) return {kind, Bits(random, 32), comparator, 4, 0};
            return {kind, size == 1 ? sized & 0xFE : sized, comparator, size, 0};
        case PacketKind::DataAddress:
            if (!armv8m) return {kind, Bits(random, 16), comparator, 2, 0};
            return {kind, sized, comparator, size, 0};
        case PacketKind::DataValue:
            return {kind, sized, comparator, size, static_cast<uint8_t>(Below(random, 2))};
        case PacketKind::PcProhibited:
            if (armv8m) return {kind, 0xFF, 0, 1, 0};
            break;
        case PacketKind::PmuOverflow:
            if (armv8m) return {kind, Bits(random, 8), 0, 1, 0};
            break;
        case PacketKind::DataMatch:
            if (armv8m) return {kind, 1, comparator, 1, 0};
            break;
        case PacketKind::UnknownHardware:
            return {kind, sized, static_cast<uint16_t>(24 + Below(random, 8)), size, 0};
        default:
            break;
    }
    return RandomPacket(random, page, armv8m);
}

Packet Expected(const Meant& meant, uint64_t offset, size_t length) {
    Packet packet{offset,     static_cast<uint32_t>(meant.value), meant.source, meant.kind,
                  meant.size, static_cast<uint32_t>(length),      meant.flags};
    if (meant.kind == PacketKind::GlobalTimeHigh) packet.source = static_cast<uint16_t>(meant.value >> 32);
    return packet;
}

namespace {

void Append(Stream& stream, const Meant& meant, unsigned& page) {
    const Bytes bytes = Encode(meant, page);
    stream.packets.push_back(Expected(meant, stream.bytes.size(), bytes.size()));
    stream.bytes.insert(stream.bytes.end(), bytes.begin(), bytes.end());
}

}  // namespace

Stream RandomStream(unsigned seed, size_t packets, bool armv8m) {
    std::mt19937 random(seed);
    Stream stream;
    unsigned page = 0;
    while (stream.packets.size() < packets) Append(stream, RandomPacket(random, page, armv8m), page);
    return stream;
}

Stream FirmwareStream(unsigned seed, size_t packets, bool timestamps) {
    std::mt19937 random(seed);
    Stream stream;
    unsigned page = 0;
    uint32_t counter = 0;
    constexpr char kText[] = "tick, level 312 mV; motor at 48 %\n";
    size_t letter = 0;
    while (stream.packets.size() < packets) {
        const unsigned chance = Below(random, 100);
        if (chance < 50) {
            Append(stream,
                   {PacketKind::Stimulus, Byte(static_cast<uint8_t>(kText[letter++ % (sizeof kText - 1)])), 0,
                    1, 0},
                   page);
        } else if (chance < 75) {
            Append(stream, {PacketKind::Stimulus, counter++, 1, 4, 0}, page);
        } else if (chance < 90) {
            Append(stream, {PacketKind::PcSample, 0x08000000 + 2 * Bits(random, 12), 0, 4, 0}, page);
        } else {
            const auto function = static_cast<uint8_t>(1 + Below(random, 3));
            Append(stream, {PacketKind::Exception, 15 | uint64_t{function} << 12, 15, 2, function}, page);
        }
        if (timestamps) {
            const auto size = static_cast<uint8_t>(1 + Below(random, 2));
            Append(stream, {PacketKind::LocalTime, Bits(random, 7U * size), 0, size, 0}, page);
        }
    }
    return stream;
}

}  // namespace Korr::Plim::Trace::Swo
