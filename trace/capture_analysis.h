#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "trace/capture_decoder.h"
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
};

/// A place in a capture from which on it can be decoded and timed in the same way again.
struct AnalysisState {
    CaptureState decoding;
    TimerState timing;
    uint64_t packets = 0;  ///< before it; those of them that PacketReceiver has not seen yet come next
};

class StateReceiver {
  public:
    virtual ~StateReceiver() = default;
    virtual void OnState(const AnalysisState& state) = 0;
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
};

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
};

/// Decodes a capture and keeps its ledger, counts and what is to be known of its signal. Memory is bounded,
/// whatever the capture's size.
class CaptureAnalysis {
  public:
    explicit CaptureAnalysis(const AnalysisOptions& options);
    ~CaptureAnalysis();
    CaptureAnalysis(const CaptureAnalysis&) = delete;
    CaptureAnalysis& operator=(const CaptureAnalysis&) = delete;

    /// The next bytes, in pieces of any size.
    void Feed(std::span<const uint8_t> bytes);
    /// Ends the wait for bytes that show the framing: for captures that grow slowly.
    void Decide();
    /// Gives what waits for nothing but damage behind it, which would make it suspect: of captures without
    /// timestamps that grow slowly.
    void Idle();
    /// The capture has ended.
    void Finish();
    /// Wants a state for AnalysisOptions::states, at the next place from where it is possible to go on.
    void WantState();

    uint64_t Bytes() const;
    const Ledger& Losses() const;
    Ledger& Losses();
    const CaptureCounts& Counts() const;
    const Framing& FramingFound() const;
    bool FramingIsKnown() const;
    /// What was learnt from the capture so far.
    const KnownPackets& Known() const;
    /// How far frames were taken apart; see BytesOfStreams.
    uint64_t FramesUpTo() const;
    /// Bytes by stream in the frames; null when there are no frames.
    const std::array<uint64_t, kStreams>* BytesOfStreams() const;
    /// Of the capture's first kHead bytes. Line errors and log entries are for the caller to add.
    SignalFeatures Features() const;
    static constexpr uint64_t kHead = uint64_t{256} << 10;

  private:
    class Work;
    std::unique_ptr<Work> work;
};

}  // namespace Korr::Plim::Trace::Swo
