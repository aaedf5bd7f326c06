#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "trace/capture_decoder.h"
#include "trace/capture_head.h"
#include "trace/framing.h"
#include "trace/ledger.h"
#include "trace/packet_timer.h"
#include "trace/packets.h"
#include "trace/signal_check.h"
#include "trace/text_lines.h"
#include "trace/trace_clock.h"

namespace Korr::Plim::Trace::Swo {

/// Is given every packet of a capture with its time, in the capture's order.
class PacketReceiver {
  public:
    virtual ~PacketReceiver() = default;
    virtual void OnPacket(const Packet& packet, const PacketTime& time) = 0;
    /// The next ones, at least one, which have the same time.
    virtual void OnPackets(std::span<const Packet> packets, const PacketTime& time) {
        for (const Packet& packet : packets) OnPacket(packet, time);
    }
};

/// A place in a capture from which on it can be decoded and timed in the same way again.
struct AnalysisState {
    /// Bytes of the capture from one to the next, about.
    static constexpr uint64_t kApart = 65536;

    CaptureState decoding;
    TimerState timing;
    uint64_t packets = 0;  ///< before it; those of them that PacketReceiver has not seen yet come next
};

/// How far frames were taken apart; nothing without frames.
struct FrameProgress {
    uint64_t upTo = 0;     ///< offset in the capture
    uint64_t padding = 0;  ///< bytes of the null stream by then
};

/// Is given what it takes to go back in a capture. Called as PacketReceiver is.
class StateReceiver {
  public:
    /// Pieces end where the capture has a multiple of so many bytes, and where a Feed ends.
    static constexpr uint64_t kPiece = 16384;

    virtual ~StateReceiver() = default;
    virtual void OnState(const AnalysisState& state) = 0;
    /// All that so many bytes of the capture tell was given, but for what is held back. Also at the end.
    virtual void OnPiece(uint64_t bytes, const FrameProgress& frames) = 0;
};

/// Is given the text of stimulus ports as soon as it is decoded.
class TextReceiver {
  public:
    virtual ~TextReceiver() = default;
    virtual void Write(uint8_t port, const uint8_t* bytes, size_t count) = 0;
};

struct AnalysisOptions {
    FramingOptions framing;
    bool waitForSync = false;            ///< give up what comes before the first synchronisation packet
    uint32_t prescale = 1;               ///< clock cycles a tick: 1, 4, 16 or 64
    std::optional<uint8_t> counterPort;  ///< see Ledger
    PacketReceiver* packets = nullptr;   ///< not owned; null: nobody
    StateReceiver* states = nullptr;     ///< not owned; null: nobody
    TextReceiver* text = nullptr;        ///< not owned; null: nobody
    Ports textPorts;
    /// Large pieces are decoded on a thread of their own as well: see HasTwoProcessors. TextReceiver is
    /// called there, too, the others by who feeds. What they are given is the same.
    bool onTwoThreads = false;
};

/// Whether this machine has two processors for this program.
bool HasTwoProcessors();

/// What a capture consists of.
struct CaptureCounts {
    std::array<uint64_t, kPacketKinds> packets{};  ///< by kind; runs of bytes count as one
    std::array<uint64_t, kPacketKinds> bytes{};    ///< the same in bytes of the stream
    std::array<uint64_t, 256> portPackets{};
    std::array<uint64_t, 256> portBytes{};  ///< payload
    std::array<uint64_t, 512> exceptionsEntered{};
    std::array<uint64_t, 4> qualities{};  ///< packets by TimeQuality
    std::optional<uint64_t> firstSync;    ///< its offset
    uint64_t firstTicks = 0;              ///< of the first packet that has a time
    uint64_t lastTicks = 0;

    uint64_t Of(PacketKind kind) const { return packets[static_cast<size_t>(kind)]; }
    bool operator==(const CaptureCounts&) const = default;
};

/// Decodes a capture and keeps its ledger, counts and what is to be known of its signal. Memory is bounded,
/// whatever the capture's size.
class CaptureAnalysis {
  public:
    explicit CaptureAnalysis(const AnalysisOptions& options);
    ~CaptureAnalysis();
    CaptureAnalysis(const CaptureAnalysis&) = delete;
    CaptureAnalysis& operator=(const CaptureAnalysis&) = delete;

    /// The next bytes, in pieces of any size. Whatever thread it takes sleeps when it returns.
    void Feed(std::span<const uint8_t> bytes);
    /// A Feed of fewer is never done on two threads.
    static constexpr size_t kWorthAThread = size_t{256} << 10;
    /// Ends the wait for bytes that show the framing: for captures that grow slowly.
    void Decide();
    /// Gives what waits for nothing but damage behind it, which would make it suspect: of captures without
    /// timestamps that grow slowly.
    void Idle();
    /// The capture has ended.
    void Finish();

    uint64_t Bytes() const;
    const Ledger& Losses() const;
    Ledger& Losses();
    const CaptureCounts& Counts() const;
    const Framing& FramingFound() const;
    bool FramingIsKnown() const;
    /// What was learnt from the capture so far.
    const KnownPackets& Known() const;
    /// Bytes by stream in the frames; null when there are no frames.
    const std::array<uint64_t, kStreams>* BytesOfStreams() const;
    /// Of the capture's first kHead bytes. Line errors and log entries are for the caller to add.
    SignalFeatures Features() const;
    static constexpr uint64_t kHead = CaptureHead::kBytes;

  private:
    class Work;
    std::unique_ptr<Work> work;
};

}  // namespace Korr::Plim::Trace::Swo
