#pragma once

#include <gtest/gtest.h>

#include <span>
#include <vector>

#include "tests/unit/trace/itm_encoder.h"
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

/// All packets of a stream that comes in one block.
inline std::vector<Packet> Decode(const Bytes& bytes, const ItmOptions& options = {}) {
    PacketLog log;
    ItmDecoder<PacketLog> decoder(log, options);
    decoder.Feed(bytes);
    decoder.Finish();
    return log.packets;
}

/// Hints apart, which the encoder knows nothing of.
inline std::vector<Packet> WithoutHints(std::vector<Packet> packets) {
    for (Packet& packet : packets) packet.flags &= static_cast<uint8_t>(~(kOrderHint | kKindHint));
    return packets;
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

/// The place of the first difference, with both packets, or an empty text. Of long lists, where a matcher
/// would print them whole.
inline std::string FirstDifference(const std::vector<Packet>& a, const std::vector<Packet>& b) {
    for (size_t i = 0; i < a.size() || i < b.size(); ++i) {
        if (i < a.size() && i < b.size() && a[i] == b[i]) continue;
        std::ostringstream text;
        text << "at " << i << " of " << a.size() << " and " << b.size() << ": ";
        if (i < a.size()) PrintTo(a[i], &text);
        text << " <> ";
        if (i < b.size()) PrintTo(b[i], &text);
        return text.str();
    }
    return "";
}

}  // namespace Korr::Plim::Trace::Swo
