#pragma once

#include <optional>

#include "exports/names.h"
#include "exports/row_text.h"
#include "exports/sample_counter.h"

namespace Korr::Plim::Trace::Exports {

/// Writes folded stacks, as flame graph tools read them: a line "exception;function count" for each that PC
/// samples met. The exception is the innermost one, "Thread", or "[unknown]" after a loss; a function without
/// a name is its address.
class FoldedWriter : public CaptureWriter {
  public:
    explicit FoldedWriter(Output& target) : row(target) {}
    void Begin(const CaptureFacts& facts) override;
    void OnPacket(const Swo::Packet& packet, const Swo::PacketTime& time) override {
        samples.OnPacket(packet, time);
    }
    void Pass(const Swo::Packet& packet) override { samples.Pass(packet); }
    void End(const Swo::Ledger&) override {}
    void Finish() override;

  private:
    RowText row;
    SampleCounter samples;
    std::optional<Names> names;
};

}  // namespace Korr::Plim::Trace::Exports
