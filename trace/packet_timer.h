#pragma once

#include <array>
#include <cstddef>

#include "trace/trace_clock.h"

namespace Korr::Plim::Trace::Swo {

/// Stands between a decoder and a sink that wants to know when packets happened and which of them are
/// suspect. Both show only later: packets are held back until a timestamp comes, in its absence at most
/// kMostHeld of them, and kMostSuspect as long as the stream has shown none.
///
/// Sink has a member OnPacket(const Packet&, const PacketTime&). What prints text while it comes takes its
/// packets from the decoder itself.
template <class Sink>
class PacketTimer {
  public:
    static constexpr size_t kMostHeld = 1024;
    /// So many packets in front of damage are suspect, unless an anchor is nearer: a timestamp or
    /// synchronisation.
    static constexpr size_t kMostSuspect = 64;

    explicit PacketTimer(Sink& target, const TraceClock& start = TraceClock{}) : sink(target), clock(start) {}

    void OnPacket(const Packet& packet) {
        clock.OnPacket(packet);
        if (packet.kind == PacketKind::LocalTime) {
            timed = true;
            Release(count, clock.Last());
            sink.OnPacket(packet, clock.Last());
            anchored = 0;
            return;
        }
        const bool damage = IsDamage(packet.kind) && packet.kind != PacketKind::TruncatedEnd;
        if (damage) {
            Suspect();
            Release(count, clock.Open());
            sink.OnPacket(packet, clock.Open());
            return;
        }
        Hold(packet);
    }
    /// Gives all that is held back: the stream has ended.
    void Flush() { Release(count, clock.Open()); }

    const TraceClock& Clock() const { return clock; }

  private:
    void Hold(const Packet& packet) {
        if (count == (timed ? kMostHeld : kMostSuspect)) Release(1, clock.Open());
        held[(first + count++) % kMostHeld] = packet;
        const bool anchor = packet.kind == PacketKind::Sync || packet.kind == PacketKind::GlobalTimeLow ||
                            packet.kind == PacketKind::GlobalTimeHigh;
        anchored = anchor ? 0 : anchored + 1;
    }
    void Suspect() {
        const size_t suspect = anchored < kMostSuspect ? anchored : kMostSuspect;
        for (size_t i = 0; i < suspect && i < count; ++i) {
            held[(first + count - 1 - i) % kMostHeld].flags |= kSuspect;
        }
        anchored = 0;
    }
    void Release(size_t packets, const PacketTime& time) {
        for (size_t i = 0; i < packets; ++i) sink.OnPacket(held[(first + i) % kMostHeld], time);
        first = (first + packets) % kMostHeld;
        count -= packets;
    }

    Sink& sink;
    TraceClock clock;
    bool timed = false;   ///< there was a local timestamp
    size_t anchored = 0;  ///< packets since the last anchor
    size_t first = 0;
    size_t count = 0;
    std::array<Packet, kMostHeld> held;
};

}  // namespace Korr::Plim::Trace::Swo
