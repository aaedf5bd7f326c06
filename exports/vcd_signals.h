#pragma once

#include <array>
#include <bitset>

#include "exports/capture_writer.h"

namespace Korr::Plim::Trace::Exports {

/// Which signals a capture has. A VCD file declares its signals before their values, so they are looked for
/// in a first pass through the capture.
class VcdSignals : public CaptureWriter {
  public:
    void Begin(const CaptureFacts&) override {}
    void OnPacket(const Swo::Packet& packet, const Swo::PacketTime&) override { Note(packet); }
    /// Exceptions can run on into what is wanted.
    void Pass(const Swo::Packet& packet) override {
        if (packet.kind == Swo::PacketKind::Exception) Note(packet);
    }
    void End(const Swo::Ledger&) override {}
    void Finish() override {}

    static constexpr uint32_t kComparators = 16;
    /// What a data watch can tell.
    enum Watch : uint8_t { Read, Write, Pc, Address, Match };
    static constexpr uint32_t kWatches = 5;

    std::bitset<512> exceptions;
    std::bitset<256> ports;
    std::array<std::bitset<kWatches>, kComparators> watches;
    std::bitset<14> counters;  ///< 6 event counters, 8 performance counters
    bool hasSamples = false;   ///< of the PC

    static Watch WatchOf(const Swo::Packet& packet);

  private:
    void Note(const Swo::Packet& packet);
};

}  // namespace Korr::Plim::Trace::Exports
