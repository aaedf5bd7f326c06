#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "exports/row_text.h"

namespace Korr::Plim::Trace::Exports {

/// The lines of a value change dump in nanoseconds. Signals are numbers, from which their identifiers in the
/// file follow.
class VcdText {
  public:
    explicit VcdText(Output& target) : row(target) {}

    /// \param comment any text
    void BeginHeader(std::string_view comment);
    void BeginScope(std::string_view name);
    void EndScope() { row.Add("$upscope $end\n"); }
    /// \param type "wire", "reg", "real" or "string" \param name any text: what is neither letter nor digit
    /// becomes "_"
    void Declare(std::string_view type, unsigned bits, uint32_t signal, std::string_view name);
    void BeginValues() { row.Add("$enddefinitions $end\n#0\n$dumpvars\n"); }
    void EndFirstValues() { row.Add("$end\n"); }

    /// What follows is of this time. Equal ones are written once.
    void At(uint64_t nanoseconds);
    void SetBit(uint32_t signal, char bit);
    void SetVector(uint32_t signal, unsigned bits, uint32_t value);
    void SetReal(uint32_t signal, float value);
    void SetUnknown(uint32_t signal);
    /// Any text: blanks and control characters are written as octal numbers, as in C.
    void SetText(uint32_t signal, std::string_view text);
    void Flush() { row.Flush(); }

  private:
    void AddId(uint32_t signal);
    void EndValue(uint32_t signal);

    RowText row;
    uint64_t now = 0;
};

}  // namespace Korr::Plim::Trace::Exports
