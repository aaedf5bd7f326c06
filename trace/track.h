#pragma once

#include <cstddef>
#include <cstdint>

#include "trace/packets.h"

/// \file
/// A recording seen as tracks: what of its packets belongs together.

namespace Korr::Plim::Trace::Swo {

enum class TrackKind : uint8_t {
    Bandwidth,
    Nesting,
    Exception,
    Port,
    WatchRead,
    WatchWrite,
    WatchPc,
    WatchAddress,
    Counter,
    Pc,
};

struct Track {
    TrackKind kind = TrackKind::Bandwidth;
    /// Exception: its number. Port: its number. Watches: the comparator. Counter: the bit of its packet,
    /// those of the PMU from kFirstPmuCounter on. Else 0.
    uint16_t number = 0;
    bool operator==(const Track&) const = default;
};

inline constexpr size_t kComparators = 4;
inline constexpr size_t kFirstPmuCounter = 6;
inline constexpr size_t kCounters = kFirstPmuCounter + 8;
inline constexpr size_t kExceptions = 512;
inline constexpr size_t kPorts = 256;

/// The first number of each kind in a row of all tracks, in the order in which they are shown.
namespace track_row {
inline constexpr size_t kBandwidth = 0;
inline constexpr size_t kNesting = 1;
inline constexpr size_t kException = 2;
inline constexpr size_t kPort = kException + kExceptions;
inline constexpr size_t kWatch = kPort + kPorts;  ///< read, write, PC, address of each comparator
inline constexpr size_t kCounter = kWatch + 4 * kComparators;
inline constexpr size_t kPc = kCounter + kCounters;
}  // namespace track_row
inline constexpr size_t kTracks = track_row::kPc + 1;

size_t RowOf(const Track& track);  ///< 0 to kTracks - 1
Track TrackAt(size_t row);

/// Hands what a packet means on to the tracks it belongs to. Target has
/// - OnPort(const Packet&): what software wrote;
/// - OnValue(Track, const Packet&): a data watch's value, PC or address;
/// - OnCount(Track): an event counter wrapped;
/// - OnPc(const Packet&): a sample of the PC, asleep and prohibited ones, too.
template <class Target>
void TellTracks(const Packet& packet, Target& target) {
    const auto comparator = static_cast<uint16_t>(packet.source % kComparators);
    switch (packet.kind) {
        case PacketKind::Stimulus:
            return target.OnPort(packet);
        case PacketKind::DataValue:
            return target.OnValue(
                {(packet.flags & kWrite) != 0 ? TrackKind::WatchWrite : TrackKind::WatchRead, comparator},
                packet);
        case PacketKind::DataPc:
            return target.OnValue({TrackKind::WatchPc, comparator}, packet);
        case PacketKind::DataAddress:
            return target.OnValue({TrackKind::WatchAddress, comparator}, packet);
        case PacketKind::EventCounters:
        case PacketKind::PmuOverflow: {
            const bool pmu = packet.kind == PacketKind::PmuOverflow;
            const auto first = static_cast<uint16_t>(pmu ? kFirstPmuCounter : 0);
            const auto counters = static_cast<uint16_t>((pmu ? kCounters : kFirstPmuCounter) - first);
            for (uint16_t bit = 0; bit < counters; ++bit) {
                const auto number = static_cast<uint16_t>(first + bit);
                if ((packet.value >> bit & 1) != 0) target.OnCount({TrackKind::Counter, number});
            }
            return;
        }
        case PacketKind::PcSample:
        case PacketKind::PcSleep:
        case PacketKind::PcProhibited:
            return target.OnPc(packet);
        default:
            return;
    }
}

}  // namespace Korr::Plim::Trace::Swo
