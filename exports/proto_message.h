#pragma once

#include <array>
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
        std::array<char, 8> little{};
        for (unsigned i = 0; i < little.size(); ++i) little[i] = static_cast<char>(bits >> 8 * i);
        bytes.append(little.data(), little.size());
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
        std::array<char, 10> varint;
        std::size_t size = 0;
        for (; number >= 0x80; number >>= 7) varint[size++] = static_cast<char>(number | 0x80);
        varint[size++] = static_cast<char>(number);
        bytes.append(varint.data(), size);
    }

    std::string bytes;
};

}  // namespace Korr::Plim::Trace::Exports
