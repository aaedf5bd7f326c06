#pragma once

#include <optional>

#include "exports/capture_writer.h"
#include "exports/names.h"
#include "exports/row_text.h"

namespace Korr::Plim::Trace::Exports {

/// Writes packets as comma separated values, a line each, below a line with the names of the columns. Symbols
/// alone may hold commas, quotes or line ends: such a one stands in quotes, with its quotes doubled.
class CsvWriter : public CaptureWriter {
  public:
    explicit CsvWriter(Output& target);
    void Begin(const CaptureFacts& facts) override;
    void OnPacket(const Swo::Packet& packet, const Swo::PacketTime& time) override;
    void End(const Swo::Ledger&) override { text.Flush(); }
    void Finish() override { text.Flush(); }

  private:
    void AddSymbol(std::string_view symbol);

    RowText text;
    TimeScale scale;
    std::optional<Names> names;  ///< of a capture with symbols
};

}  // namespace Korr::Plim::Trace::Exports
