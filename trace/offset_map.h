#pragma once

#include <algorithm>
#include <array>

#include "trace/tpiu_deframer.h"

namespace Korr::Plim::Trace::Swo {

/// Tells where in the capture the bytes of a stream stand: those that are being decoded, the last ones before
/// them, and three that were pinned, however long ago.
class OffsetMap {
  public:
    /// At least what a decoder holds back of bytes that it has been given.
    static constexpr size_t kRecent = 1024;

    /// The first byte to come has this offset in the stream; the one before it stood there.
    void Begin(uint64_t stream, uint64_t before) {
        start = stream;
        lastPlace = before;
        pins.fill({stream, before + 1});
    }
    /// Where the last byte stood that has been decoded.
    uint64_t LastPlace() const { return lastPlace; }

    /// The bytes that come next in the stream; they stay where they are until Retire.
    void Present(const StreamBytes& bytes) { now = &bytes; }
    /// Those bytes have been decoded, but for what is needed from `open` on.
    void Retire(uint64_t open) {
        const size_t count =
            std::min({now->count, kRecent, static_cast<size_t>(End() - std::min(open, End()))});
        const size_t older = std::min<uint64_t>(kRecent - count, start - std::min(open, start));
        std::copy_n(recent.end() - static_cast<std::ptrdiff_t>(older), older,
                    recent.end() - static_cast<std::ptrdiff_t>(older + count));
        std::copy_n(now->places.begin() + static_cast<std::ptrdiff_t>(now->count - count), count,
                    recent.end() - static_cast<std::ptrdiff_t>(count));
        lastPlace = now->places[now->count - 1];
        start += now->count;
        now = nullptr;
    }
    /// Before Retire: keeps the places of these, of which none comes before the first.
    void Pin(uint64_t first, uint64_t second, uint64_t third) {
        pins = {Pinned{first, CaptureOffset(first)}, Pinned{second, CaptureOffset(second)},
                Pinned{third, CaptureOffset(third)}};
    }

    /// Between pieces: the capture's bytes from `place` on come once more, as other bytes of the stream.
    /// Those that stood there stand at `place` from now on, so that nothing stands behind what comes later.
    void GoBack(uint64_t place) {
        for (uint64_t& one : recent) one = std::min(one, place);
        for (Pinned& pin : pins) pin.capture = std::min(pin.capture, place);
        lastPlace = std::min(lastPlace, place == 0 ? 0 : place - 1);
    }

    /// Of a byte of the stream that has come and is not older than the pinned ones. For one behind the last
    /// byte that has come: one behind its place.
    uint64_t CaptureOffset(uint64_t streamOffset) const {
        const size_t count = now != nullptr ? now->count : 0;
        if (streamOffset >= start) {
            const uint64_t place = streamOffset - start;
            if (place < count) return now->places[place];
            return count != 0 ? now->places[count - 1] + 1 : lastPlace + 1;
        }
        for (const Pinned& pin : pins) {
            if (pin.stream == streamOffset) return pin.capture;
        }
        const uint64_t back = start - streamOffset;
        return back <= kRecent ? recent[kRecent - back] : pins[0].capture + (streamOffset - pins[0].stream);
    }
    uint64_t End() const { return start + (now != nullptr ? now->count : 0); }

  private:
    struct Pinned {
        uint64_t stream = 0;
        uint64_t capture = 0;
    };

    const StreamBytes* now = nullptr;
    uint64_t lastPlace = 0;  ///< of all retired bytes
    uint64_t start = 0;      ///< offset in the stream of the first byte of `now`
    std::array<uint64_t, kRecent> recent{};
    std::array<Pinned, 3> pins{};
};

}  // namespace Korr::Plim::Trace::Swo
