#pragma once

#include <array>
#include <memory>
#include <optional>
#include <span>

#include "trace/capture_decoder.h"
#include "trace/exception_runs.h"
#include "trace/packet_timer.h"
#include "trace/recording_axis.h"

namespace Korr::Plim::Trace::Swo {

/// The bytes of a capture, wherever they are kept.
class CaptureBytes {
  public:
    virtual ~CaptureBytes() = default;
    /// Reads from an offset on. May be called by several threads at once. \return how many bytes; fewer than
    /// asked only at the capture's end. \throws std::runtime_error when they cannot be read
    virtual size_t ReadAt(uint64_t offset, std::span<uint8_t> buffer) const = 0;
};

/// From where on a capture can be decoded and timed in the same way again.
struct Checkpoint {
    CaptureState state;
    TimerState timer;
    Standing standing;  ///< of the last packet before it
    ExceptionStack exceptions;
};

/// All that decoding a part of a capture again takes; owns it, so that the capture may go on meanwhile.
struct ReplayPlan {
    CaptureOptions options;
    Framing framing;
    uint32_t prescale = 1;
    std::optional<Checkpoint> from;             ///< absent: the capture's beginning
    std::shared_ptr<const KnownPackets> known;  ///< learnt by the end of what has been decoded so far
    uint64_t end = 0;                           ///< bytes of the capture that are there
    bool finished = true;                       ///< no more bytes will come
};

/// Decodes a capture again from a plan's beginning on. Sink has a member bool OnPacket(const Packet&, const
/// PacketTime&, const Standing&), which returns false when it has seen enough.
template <class Sink>
class Replay {
  public:
    Replay(const ReplayPlan& plan, const CaptureBytes& bytes, Sink& target)
        : sink(target), timer(*this, plan.from ? plan.from->timer : TimerState{TraceClock(plan.prescale)}) {
        Adapter adapter{timer};
        auto decoder = plan.from ? std::make_unique<Decoder>(adapter, plan.options, plan.framing,
                                                             plan.from->state, *plan.known)
                                 : std::make_unique<Decoder>(adapter, plan.options, plan.framing);
        if (plan.from) placer = PacketPlacer(plan.from->standing);
        uint64_t at = plan.from ? plan.from->state.offset : plan.framing.FirstFrame();
        std::array<uint8_t, kPiece> piece;
        while (!done && at < plan.end) {
            const auto wanted = static_cast<size_t>(std::min<uint64_t>(piece.size(), plan.end - at));
            const size_t got = bytes.ReadAt(at, std::span(piece).first(wanted));
            if (got == 0) break;
            decoder->Feed(std::span(piece).first(got));
            at += got;
        }
        if (done) return;
        if (plan.finished) decoder->Finish();
        timer.Flush();
    }

    /// From the timer.
    void OnPacket(const Packet& packet, const PacketTime& time) {
        if (!done) done = !sink.OnPacket(packet, time, placer.Take(packet.offset, time));
    }

  private:
    struct Adapter {
        PacketTimer<Replay>& timer;
        [[gnu::always_inline]] void OnPacket(const Packet& packet) { timer.OnPacket(packet); }
        void OnFrameStep(const FrameStep&) {}
    };
    using Decoder = CaptureDecoder<Adapter>;
    static constexpr size_t kPiece = 16384;

    Sink& sink;
    bool done = false;
    PacketPlacer placer;
    PacketTimer<Replay> timer;
};

}  // namespace Korr::Plim::Trace::Swo
