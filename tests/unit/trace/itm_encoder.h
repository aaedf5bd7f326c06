#pragma once

#include <random>
#include <vector>

#include "trace/packets.h"

namespace Korr::Plim::Trace::Swo {

using Bytes = std::vector<uint8_t>;

/// A packet as the target meant it.
struct Meant {
    PacketKind kind;
    uint64_t value;
    uint16_t source;
    uint8_t size;  ///< payload bytes
    uint8_t flags;
};

/// The bytes that a target sends for it, and the stimulus page after it; `page` is the one before it.
/// Written from the description of the packets, and shares nothing with the decoder.
Bytes Encode(const Meant& meant, unsigned& page);

/// A packet of any kind that can be sent on this stimulus page; nothing of it is 0 but by chance.
Meant RandomPacket(std::mt19937& random, unsigned page, bool armv8m = true);

/// What the decoder has to say of it.
Packet Expected(const Meant& meant, uint64_t offset, size_t length);

/// A stream, and what it means.
struct Stream {
    Bytes bytes;
    std::vector<Packet> packets;
};
/// So many random packets of every kind.
Stream RandomStream(unsigned seed, size_t packets, bool armv8m = true);
/// A stream of one made-up firmware, which uses few kinds of packets: text, a counter, PC samples, exceptions
/// and, when wanted, a local timestamp behind each of them.
Stream FirmwareStream(unsigned seed, size_t packets, bool timestamps);

}  // namespace Korr::Plim::Trace::Swo
