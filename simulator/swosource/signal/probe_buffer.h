#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Korr::Plim::Trace::Simulator {

/// A stretch of bytes that was dropped because nobody had taken those before it.
struct Overrun {
    uint64_t offset;  ///< of its first byte in the stream as the probe received it
    uint64_t length;  ///< bytes
};

/// The probe's receive buffer. Bytes wait in it until the far end has taken them; what does not fit is
/// dropped, as a probe does. After an overrun it takes bytes again when half of it is free, so that one
/// standstill of the reader is one gap.
class ProbeBuffer {
  public:
    explicit ProbeBuffer(size_t size);

    /// The next received bytes. \param outside bytes that were handed on but not taken yet; they count as
    /// waiting \param attended false when the far end is not open: what is dropped then is nobody's fault
    void Receive(std::span<const uint8_t> bytes, size_t outside, bool attended);
    /// The oldest waiting bytes, at most `most`, in one piece; valid until the next call of another
    /// operation.
    std::span<const uint8_t> Front(size_t most) const;
    /// Removes `count` bytes at the front.
    void Remove(size_t count);
    /// Drops what waits and counts it, together with `outside` bytes that the far end left behind.
    void GiveUp(size_t outside, bool attended);

    size_t Size() const { return ring.size(); }
    size_t Waiting() const { return waiting; }
    size_t MostWaiting() const { return mostWaiting; }  ///< including bytes outside
    uint64_t Received() const { return received; }      ///< all bytes, dropped ones included
    uint64_t Dropped() const { return dropped; }        ///< for any reason
    uint64_t Unattended() const { return unattended; }  ///< dropped while the far end was not open
    uint64_t LeftBehind() const { return leftBehind; }  ///< dropped by GiveUp
    uint64_t OverrunCount() const { return overrunCount; }
    /// The first 1000 overruns.
    const std::vector<Overrun>& Overruns() const { return overruns; }
    uint64_t LongestOverrun() const { return longestOverrun; }

  private:
    void Store(std::span<const uint8_t> bytes);
    void Drop(size_t count, bool attended);

    std::vector<uint8_t> ring;
    size_t begin = 0;
    size_t waiting = 0;
    size_t mostWaiting = 0;
    uint64_t received = 0;
    uint64_t dropped = 0;
    uint64_t unattended = 0;
    uint64_t leftBehind = 0;
    std::vector<Overrun> overruns;
    uint64_t overrunCount = 0;
    uint64_t longestOverrun = 0;
    uint64_t currentOverrun = 0;
    bool overrunning = false;
};

}  // namespace Korr::Plim::Trace::Simulator
