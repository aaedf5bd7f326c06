#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <string_view>
#include <vector>

namespace Korr::Plim::Trace::Exports {

/// A message in the wire format of Protocol Buffers, field by field.
class ProtoMessage {
  public:
    void AddInteger(uint32_t field, uint64_t number) { AddVarints(uint64_t{field} << 3, number); }
    void AddDouble(uint32_t field, double number) {
        const auto bits = std::bit_cast<uint64_t>(number);
        MakeRoom(kLongestVarint + sizeof bits);
        AddVarint(uint64_t{field} << 3 | 1);
        for (unsigned i = 0; i < sizeof bits; ++i) bytes[size++] = static_cast<char>(bits >> 8 * i);
    }
    /// A text, or a message.
    void AddBytes(uint32_t field, std::string_view content) {
        BeginBytes(field, content.size());
        MakeRoom(content.size());
        std::copy(content.begin(), content.end(), &bytes[size]);
        size += content.size();
    }
    /// The same, of which the content itself follows this message.
    void BeginBytes(uint32_t field, std::size_t count) { AddVarints(uint64_t{field} << 3 | 2, count); }
    void Clear() { size = 0; }
    std::string_view Bytes() const { return {bytes.data(), size}; }

  private:
    void AddVarints(uint64_t one, uint64_t other) {
        MakeRoom(2 * kLongestVarint);
        AddVarint(one);
        AddVarint(other);
    }
    /// \pre there is room
    void AddVarint(uint64_t number) {
        for (; number >= 0x80; number >>= 7) bytes[size++] = static_cast<char>(number | 0x80);
        bytes[size++] = static_cast<char>(number);
    }
    /// For so many bytes more, and one.
    void MakeRoom(std::size_t count) {
        if (bytes.size() - size <= count) bytes.resize(2 * (size + count));
    }

    static constexpr std::size_t kLongestVarint = 10;
    std::vector<char> bytes = std::vector<char>(256);
    std::size_t size = 0;
};

}  // namespace Korr::Plim::Trace::Exports
