#pragma once

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>

namespace Korr::Plim::Trace::Exports {

/// A message in the wire format of Protocol Buffers, field by field.
class ProtoMessage {
  public:
    void AddInteger(uint32_t field, uint64_t number) {
        AddVarint(uint64_t{field} << 3);
        AddVarint(number);
    }
    void AddDouble(uint32_t field, double number) {
        AddVarint(uint64_t{field} << 3 | 1);
        const auto bits = std::bit_cast<uint64_t>(number);
        for (unsigned shift = 0; shift < 64; shift += 8) bytes += static_cast<char>(bits >> shift);
    }
    /// A text, or a message.
    void AddBytes(uint32_t field, std::string_view content) {
        AddVarint(uint64_t{field} << 3 | 2);
        AddVarint(content.size());
        bytes.append(content);
    }
    void Clear() { bytes.clear(); }
    std::string_view Bytes() const { return bytes; }

  private:
    void AddVarint(uint64_t number) {
        for (; number >= 0x80; number >>= 7) bytes += static_cast<char>(number | 0x80);
        bytes += static_cast<char>(number);
    }

    std::string bytes;
};

}  // namespace Korr::Plim::Trace::Exports
