#include "trace/validity.h"

#include "trace/packet_walk.h"

namespace Korr::Plim::Trace::Swo {

Validity MeasureItm(std::span<const uint8_t> bytes, Architecture architecture) {
    Validity validity;
    PacketWalk walk(bytes, HeadersOf(architecture));
    for (;;) {
        const PacketWalk::Found found = walk.Next();
        if (found == PacketWalk::Found::End) return validity;
        const Packet& packet = walk.Last().packet;
        validity.all += packet.length;
        if (found == PacketWalk::Found::Broken) {
            walk.Skip();
        } else if (IsAssigned(packet.kind)) {
            validity.good += packet.length;
        }
    }
}

}  // namespace Korr::Plim::Trace::Swo
