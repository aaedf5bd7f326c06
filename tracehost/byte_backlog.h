#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <vector>

namespace Korr::Plim::Trace::Tracehost {

/// The last bytes of a stream, for readers that each go on at an offset of their own. Used by one thread at a
/// time; what At has given may be read by any.
class ByteBacklog {
  public:
    /// Bytes that lie one after another in the stream. They stay as they are as long as somebody holds them.
    struct Piece {
        std::shared_ptr<const std::vector<uint8_t>> owner;
        std::span<const uint8_t> bytes;
    };

    /// \param most bytes that are kept; what was added last is, however much it is
    explicit ByteBacklog(uint64_t most) : limit(most) {}

    /// The next bytes of the stream. Those for which there is no memory are passed over, with all before
    /// them.
    void Add(std::span<const uint8_t> bytes);
    /// Nobody wants what lies before an offset any more.
    void DropBefore(uint64_t offset);

    uint64_t Begin() const { return begin; }  ///< offset of the first byte that is still here
    uint64_t End() const { return end; }      ///< offset of the next byte to come
    /// The bytes from an offset on, Begin to End, as many as lie together; none at End.
    Piece At(uint64_t offset) const;

  private:
    void DropFirst();

    const uint64_t limit;
    uint64_t begin = 0;
    uint64_t end = 0;
    std::deque<std::shared_ptr<const std::vector<uint8_t>>> pieces;
};

}  // namespace Korr::Plim::Trace::Tracehost
