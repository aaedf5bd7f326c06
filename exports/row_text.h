#pragma once

#include <array>
#include <charconv>
#include <string_view>

#include "exports/output.h"

namespace Korr::Plim::Trace::Exports {

/// Text that is handed on in large pieces.
class RowText {
  public:
    explicit RowText(Output& target) : output(target) {}

    /// Makes room for a row of at most kLongestRow bytes; to be called before each.
    void BeginRow() {
        if (size > buffer.size() - kLongestRow) Flush();
    }
    void Add(char character) { buffer[size++] = character; }
    void Add(std::string_view text) {
        size += text.copy(&buffer[size], text.size());  // also of a text that is nowhere
    }
    /// Of any length; no room for it is needed. A row that goes on behind it begins its room anew.
    void AddLong(std::string_view text) {
        constexpr std::size_t kRoom = kSize - kLongestRow;
        if (size > kRoom ||
            text.size() > kRoom - size) {  // what the row has already may stand in its own room
            Flush();
            if (text.size() > kRoom) return output.Write(text.data(), text.size());
        }
        Add(text);
        BeginRow();
    }
    /// Integers and floating point, the shortest text that reads back the same.
    template <typename Number>
    void AddNumber(Number number) {
        size = static_cast<std::size_t>(
            std::to_chars(&buffer[size], buffer.data() + buffer.size(), number).ptr - buffer.data());
    }
    /// "0x1f".
    void AddHexadecimal(uint64_t number) {
        Add("0x");
        size = static_cast<std::size_t>(
            std::to_chars(&buffer[size], buffer.data() + buffer.size(), number, 16).ptr - buffer.data());
    }
    void Flush() {
        if (size > 0) output.Write(buffer.data(), size);
        size = 0;
    }

    static constexpr std::size_t kLongestRow = 512;

  private:
    static constexpr std::size_t kSize = 65536;
    Output& output;
    std::size_t size = 0;
    std::array<char, kSize> buffer;
};

}  // namespace Korr::Plim::Trace::Exports
