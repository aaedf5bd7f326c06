#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "trace/frame_follower.h"
#include "trace/framing.h"
#include "trace/itm_decoder.h"
#include "trace/offset_map.h"

namespace Korr::Plim::Trace::Swo {

struct CaptureOptions {
    FramingOptions framing;
    ItmOptions itm;
};

/// How far a stream had come out of its frames at some place.
struct StreamProgress {
    uint64_t bytes = 0;    ///< of the stream
    uint64_t damage = 0;   ///< of which so many are none
    uint64_t padding = 0;  ///< bytes of the null stream

    StreamProgress operator-(const StreamProgress& earlier) const {
        return {bytes - earlier.bytes, damage - std::min(damage, earlier.damage), padding - earlier.padding};
    }
};

/// From where on a capture can be decoded in the same way again, with its framing and what was learnt from it
/// since (KnownPackets).
struct CaptureState {
    uint64_t offset = 0;  ///< of the byte to feed next
    DecoderState itm;
    FollowerState follower;  ///< this and what follows: of frames
    uint64_t lastPlace = 0;  ///< offset of the stream's last byte
    StreamProgress checkpoint;
    StreamProgress longRun;
};

/// Turns the bytes of a capture into packets, whether it is an ITM stream or one of several streams in
/// frames. The packets' offsets are those in the capture; their lengths are bytes of the stream. However the
/// capture is cut into blocks, the packets are the same. Memory is allocated at the beginning alone, some 600
/// KiB of it until the framing is known.
///
/// Sink has OnPacket(const Packet&) and OnFrameStep(const FrameStep&). It may have OnState(const
/// CaptureState&), which is given what WantState wants when exactly the packets before it have been given.
template <class Sink>
class CaptureDecoder {
  public:
    explicit CaptureDecoder(Sink& target, const CaptureOptions& options = {})
        : sink(target), finder(options.framing), mapped{target, nullptr, 0}, decoder(mapped, options.itm) {}
    /// Goes on from an earlier state of a decoder of the same capture and options, which found this framing
    /// and has learnt `later` since. To be fed from state.offset on.
    CaptureDecoder(Sink& target, const CaptureOptions& options, const Framing& framing,
                   const CaptureState& state, const KnownPackets& later);
    /// Begins a capture whose framing was found before. To be fed from its first frame on.
    CaptureDecoder(Sink& target, const CaptureOptions& options, const Framing& framing)
        : sink(target), finder(framing), mapped{target, nullptr, 0}, decoder(mapped, options.itm) {}
    CaptureDecoder(const CaptureDecoder&) = delete;
    CaptureDecoder& operator=(const CaptureDecoder&) = delete;

    void Feed(std::span<const uint8_t> bytes) {
        if (!finder.Decided()) {
            bytes = bytes.subspan(finder.Feed(bytes));
            if (!finder.Decided()) return;
        }
        Begin();
        Take(bytes);
    }
    /// The capture has ended.
    void Finish() {
        Decide();
        if (frames) FinishFrames();
        decoder.Finish();
    }
    /// Ends the wait for bytes that show the framing: for captures that grow slowly.
    void Decide() {
        finder.Decide();
        Begin();
    }

    /// Wants a state, to be had at the next place from where it is possible to go on: with frames some
    /// hundred bytes further on, in good parts of the capture.
    void WantState() { wanted = true; }
    /// The state that was wanted, once it is there; then no more.
    std::optional<CaptureState> TakeState() { return std::exchange(kept, std::nullopt); }

    bool Decided() const { return finder.Decided(); }
    const Framing& Found() const { return finder.Found(); }
    /// Of frames; else null.
    const TpiuDeframer* Deframer() const { return frames ? &frames->follower.Deframer() : nullptr; }
    bool InStep() const { return decoder.InStep(); }
    const KnownPackets& Known() const { return decoder.Known(); }

  private:
    struct MappedSink {
        Sink& sink;
        const OffsetMap* map;
        uint64_t damaged;  ///< bytes

        [[gnu::always_inline]] void OnPacket(const Packet& packet) {
            if (map == nullptr) return sink.OnPacket(packet);
            if (IsDamage(packet.kind)) damaged += packet.length;
            Packet placed = packet;
            placed.offset = map->CaptureOffset(packet.offset);
            sink.OnPacket(placed);
        }
    };
    struct Frames {
        Frames(uint8_t stream, unsigned phase) : follower(stream, phase) {}
        FrameFollower follower;
        StreamBytes chunk;
        OffsetMap map;
        StreamProgress lastCheckpoint{};
        StreamProgress lastLongRun{};
    };

    void Begin();
    void Take(std::span<const uint8_t> bytes);
    void TakeChunk();
    void OnStop(FrameFollower::Stop stop);
    void OnCheckpoint();
    bool IsFine(const StreamProgress& last, const StreamProgress& now);
    void KeepState();
    void KeepStateOfFrames();
    void TellState() {
        if constexpr (requires(const CaptureState& state) { sink.OnState(state); }) sink.OnState(*kept);
    }
    void FinishFrames();

    Sink& sink;
    FramingFinder finder;
    bool begun = false;
    bool wanted = false;  ///< a state
    std::optional<CaptureState> kept;
    std::unique_ptr<Frames> frames;
    MappedSink mapped;
    ItmDecoder<MappedSink> decoder;
};

template <class Sink>
CaptureDecoder<Sink>::CaptureDecoder(Sink& target, const CaptureOptions& options, const Framing& framing,
                                     const CaptureState& state, const KnownPackets& later)
    : sink(target), finder(framing), begun(true), mapped{target, nullptr, 0}, decoder(mapped, options.itm) {
    decoder.Restore(state.itm, later);
    if (!framing.framed) return;
    frames = std::make_unique<Frames>(framing.stream, state.offset);
    frames->follower.Restore(state.follower);
    frames->map.Begin(state.itm.offset, state.lastPlace);
    frames->lastCheckpoint = state.checkpoint;
    frames->lastLongRun = state.longRun;
    mapped.map = &frames->map;
    mapped.damaged = state.checkpoint.damage;
}

/// What has come until the framing was known is decoded first.
template <class Sink>
void CaptureDecoder<Sink>::Begin() {
    if (begun) return;
    begun = true;
    std::span<const uint8_t> head = finder.Head();
    if (const Framing& found = finder.Found(); found.framed) {
        frames = std::make_unique<Frames>(found.stream, found.first.phase);
        mapped.map = &frames->map;
        frames->follower.Expect(found.first.CommonStreams());
        head = head.subspan(std::min<size_t>(found.first.phase, head.size()));
    }
    Take(head);
    finder.Release();
}

template <class Sink>
void CaptureDecoder<Sink>::Take(std::span<const uint8_t> bytes) {
    if (!frames) {
        decoder.Feed(bytes);
        if (wanted) KeepState();
        return;
    }
    for (;;) {
        const FrameFollower::Result result = frames->follower.Feed(bytes, frames->chunk);
        bytes = bytes.subspan(result.taken);
        TakeChunk();
        if (result.stop == FrameFollower::Stop::Taken) return;
        OnStop(result.stop);
    }
}

template <class Sink>
void CaptureDecoder<Sink>::TakeChunk() {
    StreamBytes& chunk = frames->chunk;
    if (chunk.count == 0) return;
    frames->map.Present(chunk);
    decoder.Feed({chunk.bytes.data(), chunk.count});
    frames->map.Pin(decoder.FirstOpen(), decoder.BehindBroken(), decoder.ZerosFrom());
    frames->map.Retire(decoder.FirstHeld());
    chunk.count = 0;
}

template <class Sink>
void CaptureDecoder<Sink>::OnStop(FrameFollower::Stop stop) {
    if (stop == FrameFollower::Stop::Checkpoint) OnCheckpoint();
    if (stop != FrameFollower::Stop::Slipped) return;
    const FrameStep& step = frames->follower.LastStep();
    const bool comesAnew = step.from <= frames->map.LastPlace();  // of what was given to the decoder
    decoder.Break(!comesAnew);
    if (comesAnew) frames->map.GoBack(step.from);
    sink.OnFrameStep(step);
}

template <class Sink>
void CaptureDecoder<Sink>::OnCheckpoint() {
    const TpiuDeframer& deframer = frames->follower.Deframer();
    const StreamProgress now{frames->map.End(), mapped.damaged + decoder.OpenDamage(),
                             deframer.BytesOf()[kNullStream]};
    const StreamProgress last = now - std::exchange(frames->lastCheckpoint, now);
    const uint64_t open =
        last.damage != 0 ? frames->map.CaptureOffset(decoder.FirstOpen()) : deframer.Offset();
    frames->follower.Assess(IsFine(last, now), open);
    if (wanted) KeepStateOfFrames();
}

/// Whether the stream decodes well: without damage since the last checkpoint, and it is not missing over
/// kLongRun bytes of the capture.
template <class Sink>
bool CaptureDecoder<Sink>::IsFine(const StreamProgress& last, const StreamProgress& now) {
    constexpr uint64_t kLongRun = 4096;
    constexpr uint64_t kFewest = 24;  // bytes that show anything
    const bool fine = last.damage == 0;
    if (frames->follower.Deframer().Offset() % kLongRun != 0) return fine;
    const StreamProgress run = now - std::exchange(frames->lastLongRun, now);
    const bool idle = run.padding > kLongRun / 2;
    return fine && (run.bytes >= kFewest || idle);
}

template <class Sink>
void CaptureDecoder<Sink>::KeepState() {
    wanted = false;
    kept.emplace();
    kept->itm = decoder.State();
    kept->offset = kept->itm.offset;
    TellState();
}

/// Where all bytes of the stream stand in whole packets.
template <class Sink>
void CaptureDecoder<Sink>::KeepStateOfFrames() {
    const auto follower = frames->follower.State();
    const uint64_t end = frames->map.End();
    if (!follower || end == 0 || !decoder.InStep() || decoder.FirstOpen() != end) return;
    wanted = false;
    kept = CaptureState{follower->frames.offset, decoder.State(),        *follower,
                        frames->map.LastPlace(), frames->lastCheckpoint, frames->lastLongRun};
    TellState();
}

template <class Sink>
void CaptureDecoder<Sink>::FinishFrames() {
    for (;;) {
        const FrameFollower::Stop stop = frames->follower.Finish(frames->chunk);
        TakeChunk();
        if (stop == FrameFollower::Stop::Taken) return;
        OnStop(stop);
    }
}

}  // namespace Korr::Plim::Trace::Swo
