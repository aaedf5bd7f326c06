#pragma once

#include <span>
#include <vector>

#include "trace/itm_decoder.h"

namespace Korr::Plim::Trace::Swo {

/// Keeps every packet, and fails the test when two of them do not touch.
class PacketLog {
  public:
    void OnPacket(const Packet& packet) {
        if (!packets.empty()) {
            EXPECT_EQ(packet.offset, packets.back().offset + packets.back().length);
        }
        packets.push_back(packet);
    }

    std::vector<Packet> packets;
};

using Bytes = std::vector<uint8_t>;

/// All packets of a stream that comes in one block.
inline std::vector<Packet> Decode(const Bytes& bytes, const ItmOptions& options = {}) {
    PacketLog log;
    ItmDecoder<PacketLog> decoder(log, options);
    decoder.Feed(bytes);
    decoder.Finish();
    return log.packets;
}

inline bool operator==(const Packet& a, const Packet& b) {
    return a.offset == b.offset && a.value == b.value && a.source == b.source && a.kind == b.kind &&
           a.size == b.size && a.length == b.length && a.flags == b.flags;
}

inline void PrintTo(const Packet& packet, std::ostream* out) {
    *out << packet.offset << "+" << packet.length << " " << KindName(packet.kind) << " source "
         << packet.source << " value 0x" << std::hex << packet.value << std::dec << " size "
         << int{packet.size} << " flags 0x" << std::hex << int{packet.flags} << std::dec;
}

}  // namespace Korr::Plim::Trace::Swo
