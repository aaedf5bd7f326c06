#pragma once

#include "exports/row_text.h"

namespace Korr::Plim::Trace::Exports {

/// Writes packets as comma separated values, a line each, below a line with the names of the columns. No
/// value holds a comma, quote or line end.
class CsvWriter {
  public:
    CsvWriter(Output& target, const TimeScale& timeScale);
    /// For what comes next, such as a capture with another clock.
    void SetScale(const TimeScale& timeScale) { scale = timeScale; }
    void OnPacket(const Swo::Packet& packet, const Swo::PacketTime& time);
    /// Hands on what is still held back.
    void Flush() { text.Flush(); }

  private:
    RowText text;
    TimeScale scale;
};

}  // namespace Korr::Plim::Trace::Exports
