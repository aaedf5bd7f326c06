#pragma once

#include "trace/packets.h"
#include "trace/trace_clock.h"

namespace Korr::Plim::Trace::Swo {

inline Packet PacketAt(uint64_t offset, PacketKind kind, uint32_t length = 2, uint8_t flags = 0) {
    Packet packet{};
    packet.offset = offset;
    packet.kind = kind;
    packet.length = length;
    packet.size = 1;
    packet.flags = flags;
    return packet;
}

inline constexpr PacketTime kTime{77, 77, TimeQuality::Exact};
inline constexpr auto kText = PacketKind::Stimulus;

}  // namespace Korr::Plim::Trace::Swo
