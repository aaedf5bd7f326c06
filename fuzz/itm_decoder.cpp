// Any bytes as an ITM stream. The packets cover every byte but the padding at the end, each is what its kind
// allows, and they are the same however the stream is cut and from whatever state the decoder goes on. The
// first byte chooses the decoder's options and the cuts.
#include <span>
#include <vector>

#include "fuzz/targets.h"
#include "trace/itm_decoder.h"

namespace fuzz {
namespace {

using namespace Korr::Plim::Trace::Swo;

struct Log {
    void OnPacket(const Packet& packet) { packets.push_back(packet); }
    std::vector<Packet> packets;
};

void CheckPacket(const Packet& packet) {
    Require(static_cast<int>(packet.kind) < kPacketKinds, "a kind");
    Require(packet.length > 0, "a packet without bytes");
    const uint32_t most = packet.length < 255 ? packet.length : 255;
    if (IsByteRun(packet.kind)) {
        Require(packet.size == most, "size of a run of bytes");
    } else {
        Require(packet.length == packet.size + 1U && packet.size <= 6, "size of a packet");
    }
    const uint32_t sources = packet.kind == PacketKind::Exception ? 512 : 256;
    Require(packet.kind == PacketKind::GlobalTimeHigh || packet.source < sources, "source");
    Require(packet.kind != PacketKind::StimulusPage || packet.value < 8, "page");
    Require(packet.kind != PacketKind::Exception || (packet.flags & kKindFlags) != 0, "function");
}

bool Same(const Packet& a, const Packet& b) {
    return a.offset == b.offset && a.value == b.value && a.source == b.source && a.kind == b.kind &&
           a.size == b.size && a.length == b.length && a.flags == b.flags;
}

void RequireSame(std::span<const Packet> a, std::span<const Packet> b, const char* what) {
    Require(a.size() == b.size(), std::string("as many packets: ") + what);
    for (size_t i = 0; i < a.size(); ++i) {
        Require(Same(a[i], b[i]), "packet " + std::to_string(i) + ": " + what);
    }
}

std::vector<Packet> Whole(std::span<const uint8_t> bytes, const ItmOptions& options) {
    Log log;
    ItmDecoder<Log> decoder(log, options);
    decoder.Feed(bytes);
    decoder.Finish();
    return log.packets;
}

void CheckCover(std::span<const uint8_t> bytes, const std::vector<Packet>& packets) {
    uint64_t end = 0;
    for (const Packet& packet : packets) {
        Require(packet.offset == end, "a gap between packets");
        CheckPacket(packet);
        end += packet.length;
    }
    Require(end <= bytes.size() && bytes.size() - end <= 7, "the end");
    for (size_t i = static_cast<size_t>(end); i < bytes.size(); ++i) Require(bytes[i] == 0, "padding");
}

/// In blocks of so many bytes; at `stop` the decoder is replaced by one that goes on from its state.
void CheckCut(std::span<const uint8_t> bytes, const ItmOptions& options, size_t block, size_t stop,
              const std::vector<Packet>& whole) {
    Log log;
    ItmDecoder<Log> first(log, options);
    size_t at = 0;
    for (; at < std::min(stop, bytes.size()); at += std::min(block, bytes.size() - at)) {
        first.Feed(bytes.subspan(at, std::min(block, bytes.size() - at)));
    }
    const DecoderState state = first.State();
    const size_t before = log.packets.size();
    first.Feed(bytes.subspan(at));
    first.Finish();
    RequireSame(log.packets, whole, "cut");
    Log rest;
    ItmDecoder<Log> second(rest, options);
    second.Restore(state, first.Known());
    second.Feed(bytes.subspan(static_cast<size_t>(state.offset)));
    second.Finish();
    RequireSame(rest.packets, std::span(whole).subspan(before), "after a state");
}

}  // namespace

void FuzzItmDecoder(std::string_view input) {
    if (input.empty()) return;
    const auto choice = static_cast<uint8_t>(input[0]);
    const std::span<const uint8_t> bytes(reinterpret_cast<const uint8_t*>(input.data()) + 1,
                                         input.size() - 1);
    const ItmOptions options{(choice & 1) == 0, static_cast<Architecture>((choice >> 1 & 3) % 3),
                             (choice & 8) == 0};
    const std::vector<Packet> whole = Whole(bytes, options);
    CheckCover(bytes, whole);
    const size_t stop = bytes.size() * (choice >> 4) / 16;
    for (const size_t block : {size_t{1}, size_t{choice} + 1, size_t{513}}) {
        CheckCut(bytes, options, block, stop, whole);
    }
}

}  // namespace fuzz
