#pragma once

#include "exports/row_text.h"

namespace Korr::Plim::Trace::Exports {

/// Writes packets as JSON objects, one a line, with the names of the CSV columns. Fields without a value are
/// null; "value" is the CSV's hexadecimal text, all other numbers are numbers.
class JsonLinesWriter {
  public:
    JsonLinesWriter(Output& target, const TimeScale& timeScale) : text(target), scale(timeScale) {}
    void OnPacket(const Swo::Packet& packet, const Swo::PacketTime& time);
    /// Hands on what is still held back.
    void Flush() { text.Flush(); }

  private:
    void AddName(std::string_view name);
    void AddNumber(std::string_view name, bool there, uint64_t number);
    void AddWord(std::string_view name, std::string_view word);

    RowText text;
    TimeScale scale;
};

}  // namespace Korr::Plim::Trace::Exports
