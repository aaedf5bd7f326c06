#pragma once

#include "trace/capture_analysis.h"
#include "trace/capture_head.h"
#include "trace/packet_timer.h"

namespace Korr::Plim::Trace::Swo {

/// Decodes a capture, tells when its packets happened and counts them: the half of an analysis that looks at
/// every byte, and needs nothing of the other half.
///
/// Sink has
/// - OnPackets(std::span<const Packet>, const PacketTime&, uint64_t missed): the next ones, all of one time.
/// A
///   local timestamp is the last of them; `missed` are the ticks that it has shown to be missing, if it is;
/// - OnState(const AnalysisState&);
/// - OnFrameStep(const FrameStep&).
template <class Sink>
class CaptureFront {
  public:
    CaptureFront(Sink& target, const AnalysisOptions& wanted)
        : sink(target),
          text(wanted.text),
          textPorts(wanted.textPorts),
          wantsStates(wanted.states != nullptr),
          head(wanted.waitForSync),
          timer(*this, TraceClock(wanted.prescale)),
          decoder(*this, CaptureOptions{wanted.framing, ItmOptions{!wanted.waitForSync}}) {}

    void Feed(std::span<const uint8_t> bytes) {
        head.OnBytes(bytes);
        fed += bytes.size();
        if (wantsStates && fed % AnalysisState::kApart == 0) decoder.WantState();
        decoder.Feed(bytes);
    }
    void Decide() { decoder.Decide(); }
    /// Gives what waits for nothing but damage behind it.
    void Idle() {
        if (!timer.Timed()) timer.Flush();
    }
    void Finish() {
        decoder.Finish();
        timer.Flush();
    }

    uint64_t Fed() const { return fed; }  ///< bytes
    const CaptureCounts& Counts() const { return counts; }
    SignalFeatures Features() const { return head.Features(decoder.Found()); }
    const CaptureDecoder<CaptureFront>& Decoder() const { return decoder; }
    FrameProgress Frames() const {
        const TpiuDeframer* const deframer = decoder.Deframer();
        if (deframer == nullptr) return {};
        return {deframer->Offset(), deframer->BytesOf()[kNullStream]};
    }

    /// From the decoder.
    [[gnu::always_inline]] void OnPacket(const Packet& packet) {
        ++decoded;
        if (text != nullptr && packet.kind == PacketKind::Stimulus && textPorts[packet.source]) {
            const TextBytes written = TextOf(packet);
            text->Write(static_cast<uint8_t>(packet.source), written.bytes.data(), written.count);
        }
        head.OnPacket(packet);
        timer.OnPacket(packet);
    }
    void OnState(const CaptureState& state) {
        if (wantsStates) sink.OnState({state, timer.State(), decoded});
    }
    void OnFrameStep(const FrameStep& step) { sink.OnFrameStep(step); }
    /// From the timer.
    void OnPackets(std::span<const Packet> packets, const PacketTime& time) {
        counts.qualities[static_cast<size_t>(time.quality)] += packets.size();
        for (const Packet& packet : packets) Count(packet);
        if (packets.back().kind == PacketKind::LocalTime) {
            if (counts.Of(PacketKind::LocalTime) == 1) counts.firstTicks = time.ticks;
            counts.lastTicks = time.ticks;
        }
        sink.OnPackets(packets, time, timer.Clock().Missed());
    }

  private:
    /// Without branches on the packet's kind, which nobody can foresee.
    void Count(const Packet& packet) {
        const auto kind = static_cast<size_t>(packet.kind);
        ++counts.packets[kind];
        counts.bytes[kind] += packet.length;
        const bool stimulus = packet.kind == PacketKind::Stimulus;
        counts.portPackets[packet.source & 0xFF] += stimulus ? 1 : 0;
        counts.portBytes[packet.source & 0xFF] += stimulus ? packet.size : 0;
        const bool entered = packet.kind == PacketKind::Exception && (packet.flags & kKindFlags) == kEntered;
        counts.exceptionsEntered[packet.source & 0x1FF] += entered ? 1 : 0;
        if (packet.kind == PacketKind::Sync && !counts.firstSync) counts.firstSync = packet.offset;
    }

    Sink& sink;
    TextReceiver* const text;
    const Ports textPorts;
    const bool wantsStates;
    uint64_t fed = 0;      ///< bytes
    uint64_t decoded = 0;  ///< packets
    CaptureHead head;
    CaptureCounts counts;
    PacketTimer<CaptureFront> timer;
    CaptureDecoder<CaptureFront> decoder;
};

}  // namespace Korr::Plim::Trace::Swo
