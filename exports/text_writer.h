#pragma once

#include "exports/capture_writer.h"
#include "trace/text_lines.h"

namespace Korr::Plim::Trace::Exports {

/// Writes what the stimulus packets say, byte for byte, and nothing else.
class TextWriter : public CaptureWriter {
  public:
    explicit TextWriter(Output& target) : output(target) {}
    void Begin(const CaptureFacts&) override {}
    void OnPacket(const Swo::Packet& packet, const Swo::PacketTime&) override {
        if (packet.kind != Swo::PacketKind::Stimulus) return;
        const Swo::TextBytes text = Swo::TextOf(packet);
        output.Write(reinterpret_cast<const char*>(text.bytes.data()), text.count);
    }
    void End(const Swo::Ledger&) override {}
    void Finish() override {}

  private:
    Output& output;
};

}  // namespace Korr::Plim::Trace::Exports
