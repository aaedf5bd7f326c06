#pragma once

#include <optional>

#include "exports/capture_writer.h"
#include "exports/names.h"
#include "exports/row_text.h"

namespace Korr::Plim::Trace::Exports {

/// Writes packets as JSON objects, one a line, with the names of the CSV columns. Fields without a value are
/// null; "value" is the CSV's hexadecimal text, all other numbers are numbers.
class JsonLinesWriter : public CaptureWriter {
  public:
    explicit JsonLinesWriter(Output& target) : text(target) {}
    void Begin(const CaptureFacts& facts) override;
    void OnPacket(const Swo::Packet& packet, const Swo::PacketTime& time) override;
    void End(const Swo::Ledger&) override { text.Flush(); }
    void Finish() override { text.Flush(); }

  private:
    void AddName(std::string_view name);
    void AddNumber(std::string_view name, bool there, uint64_t number);
    void AddWord(std::string_view name, std::string_view word);

    RowText text;
    TimeScale scale;
    std::optional<Names> names;  ///< of a capture with symbols
};

}  // namespace Korr::Plim::Trace::Exports
