#include "trace/tpiu_deframer.h"

#include <cstring>

namespace Korr::Plim::Trace::Swo {
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
        if (whole && !HasSync(next)) {
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

/// A frame that stands in one piece, with no synchronisation in it.
void TpiuDeframer::TakeWhole(const uint8_t* bytes, StreamBytes& out) {
    const uint64_t start = offset;
    offset += kFrame;
    assembler.Pass(bytes[kFrame - 1]);
    TakeFrame(bytes, out, [start](size_t place) { return start + place; });
}

/// \param placeOf gives the place in the capture of a byte of the frame
template <class PlaceOf>
void TpiuDeframer::TakeFrame(const uint8_t* bytes, StreamBytes& out, PlaceOf&& placeOf) {
    ++frames;
    UnpackFrame(bytes, current, [&](uint8_t stream, const uint8_t* content, size_t from, size_t to) {
        const size_t count = to - from;
        bytesOf[stream] += count;
        if (stream != wanted) return;
        std::memcpy(&out.bytes[out.count], content + from, kFrame);
        for (size_t i = 0; i < count; ++i) out.places[out.count + i] = placeOf(from + i);
        out.count += count;
    });
}

TpiuDeframer::Stop TpiuDeframer::TakeByte(uint8_t byte, StreamBytes& out) {
    const uint64_t place = offset++;
    if (skip != 0) {
        --skip;
        assembler.Pass(byte);
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
            return OnFullSync(before, place);
        case FrameAssembler::Got::Frame:
            break;
    }
    if (Questionable(assembler.Frame())) return Stop::Question;
    TakeAssembled(out);
    return Stop::Taken;
}

/// `before`: bytes of an incomplete frame. The synchronisation's first three are among them, or ended a frame
/// that was complete and has been taken. `place`: of its last byte.
TpiuDeframer::Stop TpiuDeframer::OnFullSync(size_t before, uint64_t place) {
    ++fullSyncs;
    const bool first = frames == 0;
    if (before == 3 || first) return Stop::Taken;
    realignedFrom = before == 0 ? place : assembler.Places()[0];
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
    TakeFrame(assembler.Frame(), out, [this](size_t place) { return assembler.Places()[place]; });
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
