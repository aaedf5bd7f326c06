#pragma once

#include <array>
#include <bitset>
#include <optional>
#include <span>

#include "trace/tpiu_frame.h"

namespace Korr::Plim::Trace::Swo {

/// Bytes of one stream, each with its offset in the capture.
struct StreamBytes {
    static constexpr size_t kMost = 4096;
    size_t count = 0;
    std::array<uint8_t, kMost + kFrame> bytes;
    std::array<uint64_t, kMost + kFrame> places;
};

/// From where on frames can be taken apart in the same way again.
struct DeframerState {
    uint64_t offset = 0;  ///< in the capture, of the byte to feed next: the first one of a frame
    uint64_t frames = 0;  ///< before it
    uint64_t trusted = 0;
    uint64_t padding = 0;  ///< bytes of the null stream before it
    std::bitset<kStreams> expected;
    uint8_t current = kNoStream;
};

/// Takes one stream out of a capture of frames. Allocates nothing.
class TpiuDeframer {
  public:
    enum class Stop : uint8_t {
        Taken,      ///< all bytes
        Full,       ///< there may be no room for another frame
        Question,   ///< a frame names a stream that was not expected: Accept or Reject it
        Realigned,  ///< a full synchronisation stood inside a frame: bytes were lost before it
    };
    struct Result {
        size_t taken;
        Stop stop;
    };

    /// `from`: offset in the capture of the first byte, which begins a frame.
    explicit TpiuDeframer(uint8_t stream, uint64_t from = 0);

    Result Feed(std::span<const uint8_t> bytes, StreamBytes& out);

    /// Streams that raise no question; from the beginning all that are not reserved.
    void Expect(const std::bitset<kStreams>& streams) { expected = streams; }
    /// The frame in question is one; what it names is expected from now on.
    void Accept(StreamBytes& out);
    /// What came of the frame in question, or of an incomplete one, is none. Of what was taken the last
    /// `back` bytes come again, and the next frame begins `bytes` bytes behind that place. Returns the offset
    /// of the first rejected byte.
    uint64_t Reject(size_t back, size_t bytes);
    /// For so many frames nothing is in question.
    void Trust(uint64_t count) { trusted = count; }
    uint64_t Trusted() const { return trusted; }

    /// None while a frame is in question or bytes are passed over.
    std::optional<DeframerState> State() const;
    /// Goes on from there. Of the counts only those in the state are known.
    void Restore(const DeframerState& state);

    uint64_t Offset() const { return offset; }
    /// Bytes that are missing until the next frame begins.
    size_t ToNextFrame() const { return assembler.AtStart() ? 0 : kFrame - assembler.Filled(); }
    /// By stream. Those of frames that were rejected later are counted in, a few hundred for each step.
    const std::array<uint64_t, kStreams>& BytesOf() const { return bytesOf; }
    uint64_t Frames() const { return frames; }
    uint64_t FullSyncs() const { return fullSyncs; }
    uint64_t HalfSyncs() const { return halfSyncs; }
    /// The first byte of the frame that the last synchronisation has ended.
    uint64_t RealignedFrom() const { return realignedFrom; }

  private:
    Stop TakeByte(uint8_t byte, StreamBytes& out);
    Stop OnFullSync(size_t before, uint64_t place);
    void TakeWhole(const uint8_t* bytes, StreamBytes& out);
    template <class PlaceOf>
    void TakeFrame(const uint8_t* bytes, StreamBytes& out, PlaceOf&& placeOf);
    bool Questionable(const uint8_t* bytes);
    void TakeAssembled(StreamBytes& out);

    const uint8_t wanted;
    uint8_t current = kNoStream;
    uint64_t offset;
    uint64_t skip = 0;  ///< bytes to come that belong to no frame
    bool questioned = false;
    uint64_t trusted = 0;
    FrameAssembler assembler;  ///< holds the frame in question, too
    std::bitset<kStreams> expected;
    std::array<uint64_t, kStreams> bytesOf{};
    uint64_t frames = 0;
    uint64_t fullSyncs = 0;
    uint64_t halfSyncs = 0;
    uint64_t realignedFrom = 0;
};

}  // namespace Korr::Plim::Trace::Swo
