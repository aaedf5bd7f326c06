#pragma once

#include <array>
#include <bitset>
#include <cstdint>

#include "trace/packets.h"

namespace Korr::Plim::Trace::Swo {

/// What software wrote, as text: the bytes of a stimulus packet in their order, whatever its size.
struct TextBytes {
    std::array<uint8_t, 4> bytes;
    uint8_t count;
};

constexpr TextBytes TextOf(const Packet& stimulus) {
    return {{static_cast<uint8_t>(stimulus.value), static_cast<uint8_t>(stimulus.value >> 8),
             static_cast<uint8_t>(stimulus.value >> 16), static_cast<uint8_t>(stimulus.value >> 24)},
            stimulus.size};
}

/// Stimulus ports.
using Ports = std::bitset<256>;

/// Passes the text of chosen stimulus ports on, in the order of the stream.
///
/// Output has a member Write(uint8_t port, const uint8_t* bytes, size_t count).
template <class Output>
class TextFilter {
  public:
    TextFilter(Output& target, const Ports& chosen) : output(target), ports(chosen) {}

    void OnPacket(const Packet& packet) {
        if (packet.kind != PacketKind::Stimulus || !ports[packet.source]) return;
        const TextBytes text = TextOf(packet);
        output.Write(static_cast<uint8_t>(packet.source), text.bytes.data(), text.count);
    }

  private:
    Output& output;
    Ports ports;
};

}  // namespace Korr::Plim::Trace::Swo
