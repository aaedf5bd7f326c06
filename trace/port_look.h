#pragma once

#include "trace/port_values.h"

namespace Korr::Plim::Trace::Swo {

/// Unsigned numbers, the widest of so many bytes.
inline PortType UnsignedOf(uint8_t widest) {
    return widest <= 1 ? PortType::U8 : widest == 2 ? PortType::U16 : PortType::U32;
}

/// Whether what software writes to a port looks like text. Its first kLooked bytes decide: at least nine of
/// ten are printable ASCII, the usual control characters (tab, line feed, carriage return, bell, backspace,
/// form feed, escape), or part of a well-formed UTF-8 character. A port that is no text has unsigned numbers
/// of the widest write to it.
class PortLook {
  public:
    static constexpr uint32_t kLooked = 256;

    /// A write of so many bytes, before or after it is decided.
    void Widen(uint8_t bytes) {
        if (bytes > widest) widest = bytes;
    }
    void OnPacket(const Packet& stimulus) {
        Widen(stimulus.size);
        for (uint8_t i = 0; i < stimulus.size && looked < kLooked; ++i, ++looked) {
            if (IsText(static_cast<uint8_t>(stimulus.value >> 8 * i))) ++text;
        }
    }
    bool Decided() const { return looked == kLooked; }
    PortType Type() const {
        if (text * 10 >= looked * 9) return PortType::Text;
        return UnsignedOf(widest);
    }

  private:
    bool IsText(uint8_t byte) {
        if (byte >= 0x80) {
            if (more > 0 && byte < 0xC0) return --more, true;
            more = byte < 0xC2 || byte > 0xF4 ? 0 : byte < 0xE0 ? 1 : byte < 0xF0 ? 2 : 3;
            return more > 0;
        }
        const bool broken = more > 0;
        more = 0;
        return !broken && (byte >= 0x20 ? byte < 0x7F : (byte >= 0x07 && byte <= 0x0D) || byte == 0x1B);
    }

    uint32_t looked = 0;
    uint32_t text = 0;  ///< of those looked at
    uint8_t widest = 0;
    uint8_t more = 0;  ///< bytes that a UTF-8 character still lacks
};

}  // namespace Korr::Plim::Trace::Swo
