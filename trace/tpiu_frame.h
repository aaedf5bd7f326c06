#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// \file
/// Frames of the Trace Port Interface Unit (TPIU): 16 bytes that mix up to 111 streams. Bytes 0, 2, ... 14
/// are a new stream's number (bits 7:1) when bit 0 is set, else data without bit 0; bytes 1, 3, ... 13 are
/// data; bit j of byte 15 is bit 0 of byte 2j or, for a new stream, tells that the following byte still
/// belongs to the old one.

namespace Korr::Plim::Trace::Swo {

inline constexpr size_t kFrame = 16;
inline constexpr size_t kMostFrameData = 15;

inline constexpr uint8_t kNullStream = 0;  ///< padding
inline constexpr uint8_t kLastStream = 0x6F;
inline constexpr uint8_t kFlushStream = 0x7B;
inline constexpr uint8_t kTriggerStream = 0x7D;
/// Before the first number has come.
inline constexpr uint8_t kNoStream = 0x80;
inline constexpr size_t kStreams = 0x81;

constexpr bool IsReservedStream(uint8_t stream) {
    return stream > kLastStream && stream < kNoStream && stream != kFlushStream && stream != kTriggerStream;
}

namespace tpiu_frame_detail {

static_assert(std::endian::native == std::endian::little, "frames are read in words of 8 bytes");

inline constexpr uint64_t kEvenBytes = 0x00FF00FF00FF00FF;
inline constexpr uint64_t kEvenLowBits = 0x0001000100010001;

inline uint64_t Load(const uint8_t* bytes) {
    uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

/// Whether a byte at an even place is FF.
inline bool HasSync(uint64_t word) {
    const uint64_t others = (word & kEvenBytes) ^ kEvenBytes;  // 0 in 16 bits where one is
    return ((others - kEvenLowBits) & ~others & (kEvenLowBits << 15)) != 0;
}

/// Bit j of four at bit 0 of byte 2j.
inline uint64_t Spread(unsigned bits) {
    return uint64_t{bits & 1} | uint64_t{bits & 2} << 15 | uint64_t{bits & 4} << 30 |
           uint64_t{bits & 8} << 45;
}

/// Bit 0 of byte 2j at bit j of four.
inline unsigned Gather(uint64_t word) {
    return static_cast<unsigned>((word & kEvenLowBits) * 0x0001000200040008 >> 48 & 0xF);
}

}  // namespace tpiu_frame_detail

/// Whether a synchronisation stands in 16 bytes: an even byte FF is neither data nor a stream that is used.
inline bool HasSync(const uint8_t* frame) {
    using namespace tpiu_frame_detail;
    return HasSync(Load(frame)) || HasSync(Load(frame + 8));
}

/// Calls run(stream, content, from, to) for what a frame carries, run by run: the bytes of one stream at
/// places [from, to) of the frame, which are content[from] and on; 16 bytes can be read from each place on.
/// `stream` is the one in force, before and after. A run can be empty.
template <class Run>
void UnpackFrame(const uint8_t* frame, uint8_t& stream, Run&& run) {
    using namespace tpiu_frame_detail;
    const unsigned lowBits = frame[kFrame - 1];
    const uint64_t low = Load(frame);
    const uint64_t high = Load(frame + 8);
    const uint64_t data[4] = {low | Spread(lowBits), high | Spread(lowBits >> 4), 0, 0};
    const auto* content = reinterpret_cast<const uint8_t*>(data);
    size_t from = 0;
    for (unsigned changes = Gather(low) | Gather(high) << 4; changes != 0; changes &= changes - 1) {
        const auto pair = static_cast<unsigned>(std::countr_zero(changes));
        const size_t at = 2 * size_t{pair};
        const bool late = (lowBits >> pair & 1) != 0;
        run(stream, content, from, at);
        from = at + 1;
        if (late && from < kMostFrameData) {
            run(stream, content, from, from + 1);
            ++from;
        }
        stream = frame[at] >> 1;
    }
    run(stream, content, from, kMostFrameData);
}

/// Makes frames of single bytes and takes synchronisation out of them: the full one (FF FF FF 7F) begins a
/// frame behind it, wherever it stands; half ones (FF 7F) stand in place of a pair. Neither can be part of a
/// frame, for its even bytes are never FF.
class FrameAssembler {
  public:
    enum class Got : uint8_t { Byte, HalfSync, FullSync, Frame };

    /// Takes the byte that stands at `offset` of the capture.
    Got Put(uint8_t byte, uint64_t offset) {
        lastFour = lastFour << 8 | byte;
        if (lastFour == 0xFFFFFF7F) {
            filled = 0;
            return Got::FullSync;
        }
        if (filled == kFrame) filled = 0;
        frame[filled] = byte;
        places[filled++] = offset;
        if (filled % 2 == 0 && byte == 0x7F && frame[filled - 2] == 0xFF) {
            filled -= 2;
            return Got::HalfSync;
        }
        return filled == kFrame ? Got::Frame : Got::Byte;
    }
    /// Bytes were passed over, of which this is the last one: no synchronisation goes across them.
    void Pass(uint8_t lastByte) { lastFour = lastByte; }
    /// Begins a new frame with other bytes.
    void Clear() {
        filled = 0;
        lastFour = 0;
    }

    /// The bytes of a frame that is not complete; kFrame just behind one.
    size_t Filled() const { return filled; }
    bool AtStart() const { return filled % kFrame == 0; }
    /// Whether the next byte may end a full synchronisation.
    bool InSync() const { return (lastFour & 0xFFFFFF) == 0xFFFFFF; }
    const uint8_t* Frame() const { return frame.data(); }
    const uint64_t* Places() const { return places.data(); }

  private:
    uint32_t lastFour = 0;  ///< bytes
    size_t filled = 0;
    std::array<uint8_t, kFrame> frame{};
    std::array<uint64_t, kFrame> places{};
};

}  // namespace Korr::Plim::Trace::Swo
