#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

namespace Korr::Plim::Trace::Exports {

/// Bytes that are put one behind the other and kept until they are written. Its memory grows to the most that
/// it ever held, and stays.
class ByteBuffer {
  public:
    /// Where the next byte belongs, with room for so many. What is put there counts once EndAt tells where it
    /// ends; the place is valid until the next bytes are added.
    char* Room(std::size_t count) {
        if (bytes.size() - size < count) bytes.resize(2 * (size + count));
        return bytes.data() + size;
    }
    void EndAt(const char* end) { size = static_cast<std::size_t>(end - bytes.data()); }
    void Add(std::string_view text) { EndAt(std::copy(text.begin(), text.end(), Room(text.size()))); }
    /// The lowest bytes of a number, the lowest of them first. \param count at most 8
    void AddNumber(uint64_t number, std::size_t count) {
        static_assert(std::endian::native == std::endian::little, "it is written as it lies in memory");
        char* const place = Room(sizeof number);
        std::memcpy(place, &number, sizeof number);
        EndAt(place + count);
    }
    /// Takes the first bytes away. \param count at most Size()
    void Drop(std::size_t count) {
        std::memmove(bytes.data(), bytes.data() + count, size - count);
        size -= count;
    }
    void Clear() { size = 0; }
    std::size_t Size() const { return size; }
    std::string_view Bytes() const { return {bytes.data(), size}; }

  private:
    std::vector<char> bytes = std::vector<char>(256);
    std::size_t size = 0;
};

}  // namespace Korr::Plim::Trace::Exports
