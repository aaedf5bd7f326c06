#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

#include "trace/trace_clock.h"

namespace Korr::Plim::Trace::Swo {

/// From where on packets are timed in the same way again, those apart that were held back then.
struct TimerState {
    TraceClock clock;
    bool timed = false;     ///< there was a local timestamp
    uint32_t anchored = 0;  ///< packets since the last anchor, at most 2^32 - 1
};

/// Stands between a decoder and a sink that wants to know when packets happened and which of them are
/// suspect. Both show only later: packets are held back until a timestamp comes, in its absence at most
/// kMostHeld of them, and kMostSuspect as long as the stream has shown none.
///
/// Sink has a member OnPacket(const Packet&, const PacketTime&) or, to be given several at once that have the
/// same time, OnPackets(std::span<const Packet>, const PacketTime&): a local timestamp is the last of them.
/// What prints text while it comes takes its packets from the decoder itself.
template <class Sink>
class PacketTimer {
  public:
    static constexpr size_t kMostHeld = 1024;
    /// So many packets in front of damage are suspect, unless an anchor is nearer: a timestamp or
    /// synchronisation.
    static constexpr size_t kMostSuspect = 64;

    explicit PacketTimer(Sink& target, const TraceClock& start = TraceClock{}) : sink(target), clock(start) {}
    /// Goes on from an earlier state. Of the packets that come, times and suspects are the same again.
    PacketTimer(Sink& target, const TimerState& state)
        : sink(target), clock(state.clock), timed(state.timed), anchored(state.anchored) {}

    /// Inlined into the decoder: a packet goes from there to where it is held without being copied.
    [[gnu::always_inline]] void OnPacket(const Packet& packet) {
        Packet& place = held[(first + count++) % kPlaces];
        Keep(packet, place);
        clock.OnPacket(place);
        if (packet.kind == PacketKind::LocalTime) return OnLocalTime();
        if (IsDamage(packet.kind) && packet.kind != PacketKind::TruncatedEnd) return OnDamage();
        const bool anchor = packet.kind == PacketKind::Sync || packet.kind == PacketKind::GlobalTimeLow ||
                            packet.kind == PacketKind::GlobalTimeHigh;
        anchored = anchor ? 0 : anchored + 1;
        if (count > (timed ? kMostHeld : kMostSuspect)) Release(1, clock.Open());
    }
    /// Gives all that is held back: the stream has ended.
    void Flush() { Release(count, clock.Open()); }

    const TraceClock& Clock() const { return clock; }
    bool Timed() const { return timed; }  ///< there was a local timestamp
    TimerState State() const {
        return {clock, timed, static_cast<uint32_t>(std::min<size_t>(anchored, UINT32_MAX))};
    }

  private:
    /// Field by field, as they were just made: read back as a whole they would have to wait for the memory.
    [[gnu::always_inline]] static void Keep(const Packet& packet, Packet& place) {
        place.offset = packet.offset;
        place.value = packet.value;
        place.source = packet.source;
        place.kind = packet.kind;
        place.size = packet.size;
        place.length = packet.length;
        place.flags = packet.flags;
    }
    void OnLocalTime() {
        timed = true;
        anchored = 0;
        Release(count, clock.Last());
    }
    /// The packets before it, back to the last anchor, are suspect.
    void OnDamage() {
        const size_t before = count - 1;
        const size_t suspect = anchored < kMostSuspect ? anchored : kMostSuspect;
        for (size_t i = 1; i <= suspect && i <= before; ++i) {
            held[(first + before - i) % kPlaces].flags |= kSuspect;
        }
        anchored = 0;
        Release(count, clock.Open());
    }
    void Release(size_t packets, const PacketTime& time) {
        const size_t here = packets < kPlaces - first ? packets : kPlaces - first;
        if (here > 0) Give({&held[first], here}, time);
        if (here < packets) Give({held.data(), packets - here}, time);
        count -= packets;
        first = count == 0 ? 0 : (first + packets) % kPlaces;  // what is used often stays in the caches
    }
    void Give(std::span<const Packet> packets, const PacketTime& time) {
        if constexpr (requires { sink.OnPackets(packets, time); }) {
            sink.OnPackets(packets, time);
        } else {
            for (const Packet& packet : packets) sink.OnPacket(packet, time);
        }
    }

    /// Room for what ends the wait as well.
    static constexpr size_t kPlaces = 2 * kMostHeld;

    Sink& sink;
    TraceClock clock;
    bool timed = false;   ///< there was a local timestamp
    size_t anchored = 0;  ///< packets since the last anchor
    size_t first = 0;
    size_t count = 0;
    std::array<Packet, kPlaces> held;
};

}  // namespace Korr::Plim::Trace::Swo
