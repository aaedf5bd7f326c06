#include "exports/sample_counter.h"

namespace Korr::Plim::Trace::Exports {

using Swo::PacketKind;

/// A capture begins in thread mode until it says otherwise.
void SampleCounter::Begin(const CaptureFacts&) { exceptions = Swo::ExceptionTimeline{}; }

uint16_t SampleCounter::Running() const {
    if (!exceptions.Running().empty()) return exceptions.Running().back();
    return exceptions.Known() ? 0 : kUnknownException;
}

void SampleCounter::OnPacket(const Swo::Packet& packet, const Swo::PacketTime&) {
    const bool isPlace = packet.kind == PacketKind::PcSample;
    if (!isPlace && packet.kind != PacketKind::PcSleep && packet.kind != PacketKind::PcProhibited) {
        exceptions.OnPacket(packet);
        return;
    }
    if ((packet.flags & Swo::kSuspect) != 0) {
        ++suspects;
        return;
    }
    const uint16_t running = Running();
    if (!isPlace) {
        ++(packet.kind == PacketKind::PcSleep ? sleeping : prohibited)[running];
        return;
    }
    const Place place{running, packet.value};
    const auto found = places.find(place);
    if (found != places.end()) {
        ++found->second;
    } else if (places.size() < kMostPlaces) {
        places.emplace(place, 1);
    } else {
        ++unplaced[running];
    }
}

uint64_t SampleCounter::Sum(const Counts& counts) {
    uint64_t sum = 0;
    for (const auto& [exception, count] : counts) sum += count;
    return sum;
}

}  // namespace Korr::Plim::Trace::Exports
