#include "trace/tpiu_deframer.h"

#include <bit>
#include <cstring>

namespace Korr::Plim::Trace::Swo {
namespace {

static_assert(std::endian::native == std::endian::little, "frames are read in words of 8 bytes");

constexpr uint64_t kEvenBytes = 0x00FF00FF00FF00FF;
constexpr uint64_t kEvenLowBits = 0x0001000100010001;

uint64_t Load(const uint8_t* bytes) {
    uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

/// Whether a byte at an even place is FF, which is neither data nor a stream that is used.
bool HasSync(uint64_t word) {
    const uint64_t others = (word & kEvenBytes) ^ kEvenBytes;  // 0 in 16 bits where one is
    return ((others - kEvenLowBits) & ~others & (kEvenLowBits << 15)) != 0;
}

/// Bit j of four at bit 0 of byte 2j.
uint64_t Spread(unsigned bits) {
    return uint64_t{bits & 1} | uint64_t{bits & 2} << 15 | uint64_t{bits & 4} << 30 |
           uint64_t{bits & 8} << 45;
}

/// Bit 0 of byte 2j at bit j of four.
unsigned Gather(uint64_t word) {
    return static_cast<unsigned>((word & kEvenLowBits) * 0x0001000200040008 >> 48 & 0xF);
}

}  // namespace

TpiuDeframer::TpiuDeframer(uint8_t stream, uint64_t from) : wanted(stream), offset(from) {
    for (unsigned i = 0; i < kStreams; ++i) expected[i] = !IsReservedStream(static_cast<uint8_t>(i));
}

std::optional<DeframerState> TpiuDeframer::State() const {
    if (questioned || skip != 0) return std::nullopt;
    const uint64_t from = assembler.AtStart() ? offset : assembler.Places()[0];
    return DeframerState{from, frames, trusted, bytesOf[kNullStream], expected, current};
}

void TpiuDeframer::Restore(const DeframerState& state) {
    offset = state.offset;
    frames = state.frames;
    trusted = state.trusted;
    bytesOf[kNullStream] = state.padding;
    expected = state.expected;
    current = state.current;
}

TpiuDeframer::Result TpiuDeframer::Feed(std::span<const uint8_t> bytes, StreamBytes& out) {
    size_t place = 0;
    while (place < bytes.size()) {
        if (out.count > StreamBytes::kMost - kFrame) return {place, Stop::Full};
        const uint8_t* next = &bytes[place];
        const bool whole =
            assembler.AtStart() && skip == 0 && bytes.size() - place >= kFrame && !assembler.InSync();
        if (whole && !HasSync(Load(next)) && !HasSync(Load(next + 8))) {
            if (Questionable(next)) {
                for (size_t i = 0; i < kFrame; ++i) assembler.Put(next[i], offset++);
                return {place + kFrame, Stop::Question};
            }
            TakeWhole(next, out);
            place += kFrame;
        } else {
            ++place;
            const Stop stop = TakeByte(*next, out);
            if (stop != Stop::Taken) return {place, stop};
        }
    }
    return {place, Stop::Taken};
}

/// A frame that stands in one piece, with no synchronisation in it: run by run instead of byte by byte.
void TpiuDeframer::TakeWhole(const uint8_t* bytes, StreamBytes& out) {
    const uint64_t start = offset;
    offset += kFrame;
    ++frames;
    assembler.Pass(bytes[kFrame - 1]);
    const unsigned lowBits = bytes[kFrame - 1];
    const uint64_t low = Load(bytes);
    const uint64_t high = Load(bytes + 8);
    const uint64_t data[4] = {low | Spread(lowBits), high | Spread(lowBits >> 4), 0, 0};
    const auto* content = reinterpret_cast<const uint8_t*>(data);
    size_t from = 0;
    for (unsigned changes = Gather(low) | Gather(high) << 4; changes != 0; changes &= changes - 1) {
        const auto pair = static_cast<unsigned>(std::countr_zero(changes));
        const size_t at = 2 * size_t{pair};
        const bool late = (lowBits >> pair & 1) != 0;
        TakeRun(content, from, at, start, out);
        from = at + 1;
        if (late && from < kMostFrameData) {
            TakeRun(content, from, from + 1, start, out);
            ++from;
        }
        current = bytes[at] >> 1;
    }
    TakeRun(content, from, kMostFrameData, start, out);
}

/// Bytes [from, to) of a frame, all of one stream.
void TpiuDeframer::TakeRun(const uint8_t* content, size_t from, size_t to, uint64_t start, StreamBytes& out) {
    const size_t count = to - from;
    bytesOf[current] += count;
    if (current != wanted) return;
    std::memcpy(&out.bytes[out.count], content + from, kFrame);
    for (size_t i = 0; i < count; ++i) out.places[out.count + i] = start + from + i;
    out.count += count;
}

TpiuDeframer::Stop TpiuDeframer::TakeByte(uint8_t byte, StreamBytes& out) {
    const uint64_t place = offset++;
    if (skip != 0) {
        --skip;
        return Stop::Taken;
    }
    const size_t before = assembler.Filled() % kFrame;
    switch (assembler.Put(byte, place)) {
        case FrameAssembler::Got::Byte:
            return Stop::Taken;
        case FrameAssembler::Got::HalfSync:
            ++halfSyncs;
            return Stop::Taken;
        case FrameAssembler::Got::FullSync:
            return OnFullSync(before);
        case FrameAssembler::Got::Frame:
            break;
    }
    if (Questionable(assembler.Frame())) return Stop::Question;
    TakeAssembled(out);
    return Stop::Taken;
}

/// `before`: bytes of an incomplete frame, the synchronisation's first three among them.
TpiuDeframer::Stop TpiuDeframer::OnFullSync(size_t before) {
    ++fullSyncs;
    const bool first = frames == 0;
    if (before == 3 || first) return Stop::Taken;
    realignedFrom = assembler.Places()[0];
    return Stop::Realigned;
}

bool TpiuDeframer::Questionable(const uint8_t* bytes) {
    if (trusted != 0) {
        --trusted;
        return false;
    }
    for (size_t i = 0; i < kFrame; i += 2) {
        if ((bytes[i] & 1) != 0 && !expected[bytes[i] >> 1]) questioned = true;
    }
    return questioned;
}

void TpiuDeframer::TakeAssembled(StreamBytes& out) {
    ++frames;
    UnpackFrame(assembler.Frame(), current, [&](uint8_t stream, size_t place, uint8_t byte) {
        ++bytesOf[stream];
        if (stream != wanted) return;
        out.bytes[out.count] = byte;
        out.places[out.count++] = assembler.Places()[place];
    });
}

void TpiuDeframer::Accept(StreamBytes& out) {
    if (!questioned) return;
    questioned = false;
    const uint8_t* frame = assembler.Frame();
    for (size_t i = 0; i < kFrame; i += 2) {
        const uint8_t stream = frame[i] >> 1;
        if ((frame[i] & 1) != 0 && !IsReservedStream(stream)) expected.set(stream);
    }
    TakeAssembled(out);
}

uint64_t TpiuDeframer::Reject(size_t back, size_t bytes) {
    const bool inFrame = back == 0 && (questioned || !assembler.AtStart());
    const uint64_t from = inFrame ? assembler.Places()[0] : offset - back;
    offset -= back;
    questioned = false;
    assembler.Clear();
    skip = bytes;
    current = wanted;  // the likeliest, until a number comes
    return from;
}

}  // namespace Korr::Plim::Trace::Swo
