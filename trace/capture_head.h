#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "trace/framing.h"
#include "trace/packets.h"
#include "trace/signal_check.h"

namespace Korr::Plim::Trace::Swo {

/// What the beginning of a capture shows of its signal: its first kBytes bytes, and when synchronisation is
/// waited for, those from there on.
class CaptureHead {
  public:
    static constexpr uint64_t kBytes = uint64_t{256} << 10;

    explicit CaptureHead(bool waitForSync) : waiting(waitForSync) {}

    /// The capture's next bytes.
    void OnBytes(std::span<const uint8_t> more) {
        for (size_t i = 0; i < more.size() && fed + i < kBytes; ++i) ++values[more[i]];
        fed += more.size();
    }
    /// Every packet, as the decoder gives it.
    void OnPacket(const Packet& packet) {
        if (packet.offset < end || waiting) Look(packet);
    }
    /// \param framing as it was found so far
    SignalFeatures Features(const Framing& framing) const {
        SignalFeatures features;
        features.line = MeasureLine(values);
        features.validity = bytes == 0 ? 0 : static_cast<double>(good) / static_cast<double>(bytes);
        features.packets = packets;
        features.syncs = syncs;
        features.stretchOffset = longestOffset;
        features.stretchLength = longestLength;
        features.framed = framing.framed;
        features.phaseScore = framing.alignment.best.frames;
        features.framesWithoutItm = !framing.framed && framing.alignment.bytes > 0 &&
                                    framing.alignment.best.frames >= kFramesFit &&
                                    framing.alignment.best.streams <= kMostStreams;
        return features;
    }

  private:
    void Look(const Packet& packet) {
        if (waiting) {
            if (packet.kind != PacketKind::Sync) return;
            waiting = false;
            end = packet.offset + kBytes;
        }
        bytes += packet.length;
        if (!IsAssigned(packet.kind)) {
            if (IsDamage(packet.kind)) OnDamage(packet);
            return;
        }
        good += packet.length;
        ++packets;
        if (packet.kind == PacketKind::Sync) ++syncs;
        runLength = 0;
    }
    void OnDamage(const Packet& packet) {
        if (runLength == 0) runOffset = packet.offset;
        runLength += packet.length;
        if (runLength <= longestLength) return;
        longestLength = runLength;
        longestOffset = runOffset;
    }

    static constexpr double kFramesFit = 0.95;
    static constexpr unsigned kMostStreams = 8;  // of a target; wrong frames show more

    bool waiting;           ///< for the first synchronisation packet: what comes before it is not looked at
    uint64_t end = kBytes;  ///< offset from which on nothing is looked at
    uint64_t fed = 0;
    ByteCounts values{};
    uint64_t bytes = 0;  ///< of the stream, in packets of any kind
    uint64_t good = 0;   ///< of them, in assigned packets
    uint64_t packets = 0;
    uint64_t syncs = 0;
    uint64_t runOffset = 0;  ///< of the stretch without a packet that is being read
    uint64_t runLength = 0;
    uint64_t longestOffset = 0;
    uint64_t longestLength = 0;
};

}  // namespace Korr::Plim::Trace::Swo
