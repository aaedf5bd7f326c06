// Any bytes as a capture of frames, of a given stream or as it decides itself: packets follow each other
// within the capture, and they and the frames' steps are the same however it is cut. The first byte chooses
// framing and cuts, the second how often the rest is repeated, so that a small input makes a long capture.
#include <vector>

#include "fuzz/targets.h"
#include "trace/capture_decoder.h"

namespace fuzz {
namespace {

using namespace Korr::Plim::Trace::Swo;

struct Event {
    uint64_t offset, length, value;
    int kind;
    bool operator==(const Event&) const = default;
};

struct Log {
    void OnPacket(const Packet& packet) {
        Require(packet.offset >= last && packet.offset < size, "offset in the capture");
        last = packet.offset;
        events.push_back(
            {packet.offset, packet.length, packet.value, static_cast<int>(packet.kind) << 8 | packet.flags});
        length += packet.length;
    }
    void OnFrameStep(const FrameStep& step) {
        Require(step.from <= step.to && step.phase < kFrame, "frame step");
        events.push_back({step.from, step.to, step.phase, -1});
    }
    uint64_t size = 0;
    uint64_t last = 0;
    uint64_t length = 0;
    std::vector<Event> events;
};

Log Decode(const std::vector<uint8_t>& bytes, const CaptureOptions& options, size_t block) {
    Log log;
    log.size = bytes.size();
    CaptureDecoder<Log> decoder(log, options);
    for (size_t at = 0; at < bytes.size(); at += block) {
        decoder.Feed({&bytes[at], std::min(block, bytes.size() - at)});
    }
    decoder.Finish();
    Require(log.length <= bytes.size(), "no more bytes in packets than there are");
    const TpiuDeframer* deframer = decoder.Deframer();
    Require((deframer != nullptr) == decoder.Found().framed, "frames");
    if (deframer != nullptr) {
        Require(deframer->Offset() == bytes.size() || bytes.size() < kFrame, "all is taken");
    }
    return log;
}

/// From the last state in the first half on, the rest comes again.
void CheckState(const std::vector<uint8_t>& bytes, const CaptureOptions& options, const Log& whole) {
    Log log;
    log.size = bytes.size();
    CaptureDecoder<Log> decoder(log, options);
    std::optional<CaptureState> state;
    for (size_t at = 0; at < bytes.size(); at += 256) {
        if (at < bytes.size() / 2) decoder.WantState();
        decoder.Feed({&bytes[at], std::min<size_t>(256, bytes.size() - at)});
        if (auto found = decoder.TakeState()) state = found;
    }
    decoder.Finish();
    if (!state) return;
    Log rest;
    rest.size = bytes.size();
    CaptureDecoder<Log> second(rest, options, decoder.Found(), *state, decoder.Known());
    second.Feed(std::span(bytes).subspan(static_cast<size_t>(state->offset)));
    second.Finish();
    Require(rest.events.size() <= whole.events.size(), "no more behind a state than in all");
    Require(std::equal(rest.events.rbegin(), rest.events.rend(), whole.events.rbegin()),
            "the same behind a state");
}

}  // namespace

void FuzzTpiuFrames(std::string_view input) {
    if (input.size() < 3) return;
    const auto choice = static_cast<uint8_t>(input[0]);
    const size_t times = 1 + static_cast<uint8_t>(input[1]) % 64;
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < times && bytes.size() < 4500; ++i) {
        bytes.insert(bytes.end(), input.begin() + 2, input.end());
    }
    CaptureOptions options;
    options.framing.kind = static_cast<FramingKind>(choice % 3);
    if ((choice & 0x10) != 0) options.framing.stream = static_cast<uint8_t>(choice >> 5);
    const Log whole = Decode(bytes, options, bytes.size());
    for (const size_t block : {size_t{1} + choice, size_t{7}}) {
        Require(Decode(bytes, options, block).events == whole.events, "the same however it is cut");
    }
    CheckState(bytes, options, whole);
}

}  // namespace fuzz
