#pragma once

#include <bit>
#include <cstdint>
#include <string_view>

#include "exports/byte_buffer.h"

namespace Korr::Plim::Trace::Exports {

/// A message in the wire format of Protocol Buffers, field by field.
class ProtoMessage {
  public:
    void AddInteger(uint32_t field, uint64_t number) { AddVarints(uint64_t{field} << 3, number); }
    void AddDouble(uint32_t field, double number) {
        bytes.EndAt(WriteVarint(bytes.Room(kLongestVarint), uint64_t{field} << 3 | 1));
        bytes.AddNumber(std::bit_cast<uint64_t>(number), sizeof number);
    }
    /// A text, or a message.
    void AddBytes(uint32_t field, std::string_view content) {
        BeginBytes(field, content.size());
        bytes.Add(content);
    }
    /// The same, of which the content itself is added next, or follows this message.
    void BeginBytes(uint32_t field, std::size_t count) { AddVarints(uint64_t{field} << 3 | 2, count); }
    void Clear() { bytes.Clear(); }
    std::size_t Size() const { return bytes.Size(); }
    std::string_view Bytes() const { return bytes.Bytes(); }

    /// How many bytes AddInteger adds.
    static constexpr std::size_t SizeOfInteger(uint32_t field, uint64_t number) {
        return SizeOfVarint(uint64_t{field} << 3) + SizeOfVarint(number);
    }
    /// How many bytes AddBytes adds for so many.
    static constexpr std::size_t SizeOfBytes(uint32_t field, std::size_t count) {
        return SizeOfInteger(field, count) + count;
    }

  private:
    static constexpr std::size_t kLongestVarint = 10;

    void AddVarints(uint64_t one, uint64_t other) {
        bytes.EndAt(WriteVarint(WriteVarint(bytes.Room(2 * kLongestVarint), one), other));
    }
    /// \return behind its last byte
    static char* WriteVarint(char* place, uint64_t number) {
        for (; number >= 0x80; number >>= 7) *place++ = static_cast<char>(number | 0x80);
        *place++ = static_cast<char>(number);
        return place;
    }
    static constexpr std::size_t SizeOfVarint(uint64_t number) {
        return (static_cast<std::size_t>(std::bit_width(number | 1)) + 6) / 7;
    }

    ByteBuffer bytes;
};

}  // namespace Korr::Plim::Trace::Exports
