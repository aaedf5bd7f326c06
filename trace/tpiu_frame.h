#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

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

/// Calls data(stream, place in the frame, byte) for each byte that a frame carries; `stream` is the one in
/// force, before and after.
template <class Data>
void UnpackFrame(const uint8_t* frame, uint8_t& stream, Data&& data) {
    const unsigned lowBits = frame[kFrame - 1];
    for (size_t pair = 0; pair < kFrame / 2; ++pair) {
        const uint8_t even = frame[2 * pair];
        const bool low = (lowBits >> pair & 1) != 0;
        const bool change = (even & 1) != 0;
        if (change && !low) stream = even >> 1;
        if (!change) data(stream, 2 * pair, static_cast<uint8_t>(even | (low ? 1 : 0)));
        if (pair < kFrame / 2 - 1) data(stream, 2 * pair + 1, frame[2 * pair + 1]);
        if (change && low) stream = even >> 1;
    }
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
    /// A frame was taken elsewhere, which ended with this byte and had no byte FF at an even place.
    void Pass(uint8_t lastByte) { lastFour = lastByte; }
    /// Begins a new frame.
    void Clear() { filled = 0; }

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
