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
    /// What had come at some place.
    struct Progress {
        uint64_t bytes;    ///< of the stream
        uint64_t damage;   ///< of which so many are none
        uint64_t padding;  ///< bytes of the null stream

        Progress operator-(const Progress& earlier) const {
            return {bytes - earlier.bytes, damage - std::min(damage, earlier.damage),
                    padding - earlier.padding};
        }
    };
    struct Frames {
        Frames(uint8_t stream, unsigned phase) : follower(stream, phase) {}
        FrameFollower follower;
        StreamBytes chunk;
        OffsetMap map;
        Progress lastCheckpoint{};
        Progress lastLongRun{};
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
    frames->map.Retire(decoder.FirstHeld());
    chunk.count = 0;
}

template <class Sink>
void CaptureDecoder<Sink>::OnStop(FrameFollower::Stop stop) {
    if (stop == FrameFollower::Stop::Checkpoint) {
        frames->follower.Assess(IsFine(), frames->map.CaptureOffset(decoder.FirstOpen()));
    }
    if (stop != FrameFollower::Stop::Slipped) return;
    decoder.Break();
    sink.OnFrameStep(frames->follower.LastStep());
}

/// Whether the stream decodes well: without damage since the last checkpoint, and it is not missing over
/// kLongRun bytes of the capture.
template <class Sink>
bool CaptureDecoder<Sink>::IsFine() {
    constexpr uint64_t kLongRun = 4096;
    constexpr uint64_t kFewest = 24;  // bytes that show anything
    const Progress now{frames->map.End(), mapped.damaged + decoder.OpenDamage(),
                       frames->follower.Deframer().BytesOf()[kNullStream]};
    const Progress last = now - std::exchange(frames->lastCheckpoint, now);
    const bool fine = last.damage == 0;
    if (frames->follower.Deframer().Offset() % kLongRun != 0) return fine;
    const Progress run = now - std::exchange(frames->lastLongRun, now);
    const bool idle = run.padding > kLongRun / 2;
    return fine && (run.bytes >= kFewest || idle);
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
