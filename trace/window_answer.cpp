#include "trace/window_answer.h"

namespace Korr::Plim::Trace::Swo {

uint8_t EventFlags(const Packet& packet, TimeQuality quality) {
    static constexpr std::array<uint8_t, 4> kOfQuality = {0, kEventBounded, kEventLate, kEventWithoutTime};
    uint8_t flags = kOfQuality[static_cast<size_t>(quality)];
    if ((packet.flags & kSuspect) != 0) flags |= kEventSuspect;
    if ((packet.flags & kSalvaged) != 0) flags |= kEventSalvaged;
    if (packet.kind == PacketKind::DataValue && (packet.flags & kWrite) != 0) flags |= kEventWrite;
    return flags;
}

PortType TrackTypes::Of(const Track& track) const {
    switch (track.kind) {
        case TrackKind::Port:
            return ports[track.number % kPorts];
        case TrackKind::WatchRead:
            return watches[2 * (track.number % kComparators)];
        case TrackKind::WatchWrite:
            return watches[2 * (track.number % kComparators) + 1];
        default:
            return PortType::U32;
    }
}

}  // namespace Korr::Plim::Trace::Swo
