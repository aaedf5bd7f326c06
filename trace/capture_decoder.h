#pragma once

#include <memory>
#include <optional>

#include "trace/frame_follower.h"
#include "trace/framing.h"
#include "trace/itm_decoder.h"
#include "trace/offset_map.h"

namespace Korr::Plim::Trace::Swo {

struct CaptureOptions {
    FramingOptions framing;
    ItmOptions itm;
};

/// Turns the bytes of a capture into packets, whether it is an ITM stream or one of several streams in
/// frames. The packets' offsets are those in the capture; their lengths are bytes of the stream. However the
/// capture is cut into blocks, the packets are the same. Memory is allocated at the beginning alone, some 600
/// KiB of it until the framing is known.
///
/// Sink has OnPacket(const Packet&) and OnFrameStep(const FrameStep&).
template <class Sink>
class CaptureDecoder {
  public:
    explicit CaptureDecoder(Sink& target, const CaptureOptions& options = {})
        : sink(target), finder(options.framing), mapped{target, nullptr, 0}, decoder(mapped, options.itm) {}
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

        void OnPacket(const Packet& packet) {
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
        uint64_t assessed = 0;         ///< bytes of the stream at the last checkpoint
        uint64_t assessedDamage = 0;   ///< of which so many were damaged
        uint64_t assessedPadding = 0;  ///< bytes of the null stream then
    };

    void Begin();
    void Take(std::span<const uint8_t> bytes);
    void TakeChunk();
    void OnStop(FrameFollower::Stop stop);
    bool IsFine();
    void FinishFrames();

    Sink& sink;
    FramingFinder finder;
    bool begun = false;
    std::unique_ptr<Frames> frames;
    MappedSink mapped;
    ItmDecoder<MappedSink> decoder;
};

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
    if (!frames) return decoder.Feed(bytes);
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
    frames->map.Pin(decoder.FirstOpen(), decoder.ZerosFrom());
    frames->map.Retire();
    chunk.count = 0;
}

template <class Sink>
void CaptureDecoder<Sink>::OnStop(FrameFollower::Stop stop) {
    if (stop == FrameFollower::Stop::Checkpoint) frames->follower.Assess(IsFine());
    if (stop != FrameFollower::Stop::Slipped) return;
    decoder.Break();
    sink.OnFrameStep(frames->follower.LastStep());
}

/// Whether the stream has decoded well since the last time.
template <class Sink>
bool CaptureDecoder<Sink>::IsFine() {
    constexpr uint64_t kFewest = 64;  // bytes that show anything
    const uint64_t damage = mapped.damaged + decoder.OpenDamage();
    const uint64_t padding = frames->follower.Deframer().BytesOf()[kNullStream];
    const uint64_t bytes = frames->map.End() - frames->assessed;
    const uint64_t bad = damage - std::min(damage, frames->assessedDamage);
    const bool idle = padding - frames->assessedPadding > FrameFollower::kCheckpoint / 2;
    frames->assessed += bytes;
    frames->assessedDamage = damage;
    frames->assessedPadding = padding;
    return bytes >= kFewest ? bad * 10 <= bytes : idle;
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
