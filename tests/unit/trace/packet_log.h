#pragma once

#include <gtest/gtest.h>

#include <span>
#include <vector>

#include "tests/unit/trace/itm_encoder.h"
#include "trace/itm_decoder.h"

namespace Korr::Plim::Trace::Swo {

/// Keeps every packet.
class PacketLog {
  public:
    void OnPacket(const Packet& packet) {
        if (!packets.empty() && packet.offset != packets.back().offset + packets.back().length) {
            touching = false;
        }
        packets.push_back(packet);
    }

    std::vector<Packet> packets;
    bool touching = true;  ///< there is no gap between two packets
};

/// All packets of a stream that comes in one block. Fails the test when there is a gap between two.
std::vector<Packet> Decode(const Bytes& bytes, const ItmOptions& options = {});
/// The same in blocks of so many bytes; of random sizes when `block` is 0.
std::vector<Packet> DecodeCut(const Bytes& bytes, size_t block, unsigned seed,
                              const ItmOptions& options = {});

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
