#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "exports/output.h"
#include "trace/text_lines.h"

namespace Korr::Plim::Trace::Tracehost {

/// A place in a capture that the user names: a time, or an offset.
struct CapturePlace {
    std::optional<uint64_t> offset;
    double seconds = 0;  ///< since the beginning of the capture; without an offset
};

/// Which packets are wanted.
struct PacketFilter {
    std::array<bool, Swo::kPacketKinds> kinds{};
    Swo::Ports ports;  ///< of stimulus packets
    std::optional<CapturePlace> from;
    std::optional<CapturePlace> to;

    PacketFilter() {
        kinds.fill(true);
        ports.set();
    }
    /// Whether it takes a time to tell.
    bool NeedsTime() const { return (from && !from->offset) || (to && !to->offset); }
    /// Whether it lies from `from` on and before `to`. Without a time a packet is in no stretch of time.
    bool IsInside(const Swo::Packet& packet, const Swo::PacketTime& time,
                  const Exports::TimeScale& scale) const {
        return (!from && !to) || IsInStretch(packet, time, scale);
    }
    /// Whether it is of a wanted kind, and port.
    bool IsChosen(const Swo::Packet& packet) const {
        if (!kinds[static_cast<std::size_t>(packet.kind)]) return false;
        return packet.kind != Swo::PacketKind::Stimulus || ports[packet.source & 0xFF];
    }
    bool Wants(const Swo::Packet& packet, const Swo::PacketTime& time,
               const Exports::TimeScale& scale) const {
        return IsChosen(packet) && IsInside(packet, time, scale);
    }

  private:
    bool IsInStretch(const Swo::Packet& packet, const Swo::PacketTime& time,
                     const Exports::TimeScale& scale) const;
};

/// Reads "stimulus,exception". \throws UsageError that names the kinds there are
void SetKinds(PacketFilter& filter, const std::string& list);
/// Reads "0,3,8-15". \throws UsageError
Swo::Ports ParsePorts(const std::string& option, const std::string& list);
/// Reads "1.5s" or "#12345". \throws UsageError
CapturePlace ParsePlace(const std::string& option, const std::string& text);
/// Reads what "--from" and "--to" give; empty: not given. \throws UsageError, also when the end lies before
/// the beginning
void SetStretch(PacketFilter& filter, const std::string& from, const std::string& to);

}  // namespace Korr::Plim::Trace::Tracehost
