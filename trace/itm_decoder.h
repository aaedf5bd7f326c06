#pragma once

#include <algorithm>
#include <array>
#include <cstring>
#include <span>

#include "trace/known_packets.h"
#include "trace/packet_reader.h"
#include "trace/trial_search.h"

namespace Korr::Plim::Trace::Swo {

struct ItmOptions {
    bool startSynchronised =
        true;  ///< the first byte begins a packet; else wait for a synchronisation packet
    Architecture architecture = Architecture::Any;
    /// Find step again without a synchronisation packet, and notice when it was lost without a malformed
    /// packet. Without it nothing is learnt from the stream and no hints are given.
    bool salvage = true;
};

/// Where a decoder stands; with what it has learnt (KnownPackets) enough to go on from there.
struct DecoderState {
    uint64_t offset = 0;    ///< the byte to feed next
    uint64_t runStart = 0;  ///< while not in step: the first byte of what is given up
    uint64_t zeros = 0;     ///< zero bytes directly before `offset` that may begin a synchronisation packet
    uint32_t brokenLength =
        0;  ///< while not in step: bytes from runStart on that are `broken`, not Unsynchronised
    uint16_t brokenSource = 0;
    uint8_t brokenValue = 0;
    PacketKind broken = PacketKind::Malformed;
    uint8_t page = 0;
    uint8_t knownPage = 0;  ///< the last one whose packet was known
    uint8_t flags = 0;      ///< of all packets: kSalvaged or 0
    bool inStep = true;
    bool waitForSync = false;  ///< nothing but a synchronisation packet gives step
    KnownPackets::Mark known{};
};

/// Turns the bytes of an ITM stream into packets. However the bytes are cut into blocks, the packets are the
/// same, and they follow each other without a gap. A packet is given as soon as it is certain: when its last
/// byte has come, or, for what was not seen before, when at most kLookahead bytes more have come. What is
/// given up while out of step is given when step is found again.
///
/// Sink has a member OnPacket(const Packet&), which is inlined. Nothing is allocated. Not for more than one
/// thread.
template <class Sink>
class ItmDecoder {
  public:
    explicit ItmDecoder(Sink& target, const ItmOptions& how = {})
        : sink(target), table(HeadersOf(how.architecture)), salvage(how.salvage) {
        state.inStep = how.startSynchronised;
        state.waitForSync = !how.startSynchronised;
    }

    void Feed(std::span<const uint8_t> bytes);
    /// The stream has ended: gives what is incomplete. At most 7 zero bytes at the end are a file's padding,
    /// and no packet.
    void Finish();

    /// Bytes are missing before those that come next: no packet goes across. \param sound whether those that
    /// wait for others can still be read; else they are damage, all from FirstOpen on
    void Break(bool sound);

    /// To go on from here later.
    DecoderState State() const {
        DecoderState now = state;
        now.offset = base;
        now.known = known.Now();
        return now;
    }
    /// Goes on from an earlier state of a decoder of the same stream and options, which has learnt `later`
    /// since: the packets are the same again. Feed the bytes from state.offset on.
    void Restore(const DecoderState& earlier, const KnownPackets& later) {
        state = earlier;
        base = earlier.offset;
        held = 0;
        known.Rewind(earlier.known, later);
        search.Begin();
    }
    const KnownPackets& Known() const { return known; }
    bool InStep() const { return state.inStep; }
    /// The first byte that is in no packet given so far.
    uint64_t FirstOpen() const { return state.inStep ? ZerosFrom() : state.runStart; }
    /// Where the bytes end that are broken, when those were not given yet; else FirstOpen.
    uint64_t BehindBroken() const { return state.inStep ? FirstOpen() : state.runStart + state.brokenLength; }
    /// The first byte that was given and waits for others.
    uint64_t FirstHeld() const { return base; }
    /// Where the zeros begin that may become a synchronisation packet; behind what was taken when there are
    /// none.
    uint64_t ZerosFrom() const { return base - state.zeros; }
    /// Bytes that are given up as far as is known.
    uint64_t OpenDamage() const { return state.inStep ? 0 : base - state.runStart; }

  private:
    /// Bytes, of which the first `size` are the stream's and kReadable more can be read; `last`: the stream
    /// ends.
    struct Window {
        const uint8_t* data;
        size_t size;
        bool last;
    };
    size_t Run(const Window& window, size_t stop);
    size_t TakeZeros(const Window& window, size_t place);
    void EndZeros(uint8_t byte, uint64_t offset);
    size_t Search(const Window& window, size_t stop, size_t place);
    size_t Walk(const Window& window, size_t stop, size_t place);
    size_t WalkOther(const Window& window, size_t place, const HeaderEntry& entry);
    bool TakeUnusual(const Window& window, size_t place, uint16_t signature, PacketKind kind);
    void TakeRival(const Window& window, size_t place, size_t rival);
    void Lose(Packet broken, uint64_t offset);
    void Regain(uint64_t offset);
    void GiveBroken(uint64_t end);
    void GiveUp(uint64_t end);
    void GiveRun(Packet run);
    void Give(Packet& packet, uint64_t offset) {
        packet.offset = offset;
        packet.flags |= state.flags;
        sink.OnPacket(packet);
    }
    void RunToEnd();
    void Keep(size_t from);
    Ahead AheadOf(const Window& window, size_t place) const {
        return {{window.data + place, window.size - place}, window.last};
    }

    static constexpr uint64_t kMostPadding = 7;
    static constexpr unsigned kPage0 = 0x08;                    ///< header
    static constexpr uint32_t kLongestRun = uint32_t{1} << 30;  ///< longer ones are several packets

    Sink& sink;
    const HeaderTable& table;
    const bool salvage;
    DecoderState state;
    uint64_t base = 0;     ///< offset of the next byte that is looked at
    bool stalled = false;  ///< more bytes are needed to go on
    size_t rivalAt = 0;    ///< of what TakeUnusual has refused
    uint8_t hint = 0;      ///< for what it has taken
    KnownPackets known;
    TrialSearch search;
    size_t held = 0;  ///< bytes from `base` on that have come and wait for more
    std::array<uint8_t, 2 * kLookahead + kReadable> waiting{};
};

template <class Sink>
void ItmDecoder<Sink>::Feed(std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        if (held == 0 &&
            bytes.size() > kReadable) {  // in place, but for the last bytes, behind which none can be read
            const size_t used = Run({bytes.data(), bytes.size(), false}, bytes.size() - kReadable);
            base += used;
            bytes = bytes.subspan(used);
        }
        const size_t before = held;
        const size_t more = std::min(bytes.size(), 2 * kLookahead - held);
        if (more == 0) return;
        std::memcpy(&waiting[held], bytes.data(), more);
        held += more;
        const size_t used = Run({waiting.data(), held, false}, held);
        base += used;
        if (used >= before && more < bytes.size()) {
            held = 0;
            bytes = bytes.subspan(used - before);
        } else {
            Keep(used);
            bytes = bytes.subspan(more);
        }
    }
}

template <class Sink>
void ItmDecoder<Sink>::Keep(size_t from) {
    held -= from;
    std::memmove(waiting.data(), &waiting[from], held);
}

template <class Sink>
void ItmDecoder<Sink>::RunToEnd() {
    const size_t used = Run({waiting.data(), held, true}, held);
    base += used;
    Keep(used);
}

template <class Sink>
void ItmDecoder<Sink>::Break(bool sound) {
    if (sound) RunToEnd();
    const uint64_t start = base - state.zeros;
    const auto length = static_cast<uint32_t>(std::min<uint64_t>(held + state.zeros, kLongestRun));
    if (state.inStep) {
        Lose({0, held == 0 ? uint8_t{0} : waiting[0], static_cast<uint16_t>(MalformedReason::BytesMissing),
              PacketKind::Malformed, 0, length, 0},
             start);
    }
    base += held;
    held = 0;
    state.zeros = 0;
}

template <class Sink>
void ItmDecoder<Sink>::Finish() {
    RunToEnd();
    const uint64_t end = base + held;
    if (!state.inStep) {
        GiveUp(end);
    } else if (held != 0 || state.zeros > kMostPadding) {
        const auto length = static_cast<uint32_t>(std::min<uint64_t>(held + state.zeros, kLongestRun));
        Packet packet{0,
                      held == 0 ? uint8_t{0} : waiting[0],
                      0,
                      PacketKind::TruncatedEnd,
                      static_cast<uint8_t>(std::min<uint32_t>(length, 255)),
                      length,
                      0};
        Give(packet, end - length);
    }
    base = end;
    held = 0;
    state.zeros = 0;
    state.runStart = end;
}

/// Reads the packets that begin in front of `stop`. Returns the place of the first byte that was not taken.
template <class Sink>
size_t ItmDecoder<Sink>::Run(const Window& window, size_t stop) {
    size_t place = 0;
    stalled = false;
    while (place < stop && !stalled) {
        place = state.zeros != 0 ? TakeZeros(window, place)
                : state.inStep   ? Walk(window, stop, place)
                                 : Search(window, stop, place);
    }
    return place;
}

/// In step: packet after packet, until there is something else to do.
template <class Sink>
size_t ItmDecoder<Sink>::Walk(const Window& window, size_t stop, size_t place) {
    const uint8_t flags = state.flags;
    uint8_t page = state.page;
    while (place < stop) {
        const uint8_t* bytes = window.data + place;
        const HeaderEntry entry = table[*bytes];
        Reading reading;
        if (entry.action == HeaderAction::Fixed) {
            reading = ReadFixed(bytes, entry, page);
        } else if (entry.action == HeaderAction::LocalTime) {
            reading = ReadLocalTime(bytes, entry);
        } else {
            place = WalkOther(window, place, entry);
            if (stalled || !state.inStep || state.zeros != 0 || state.flags != flags) return place;
            page = state.page;
            continue;
        }
        const size_t length = reading.packet.length;
        if (length > window.size - place) {
            stalled = true;
            return place;
        }
        if (IsDamage(reading.packet.kind)) {
            Lose(reading.packet, base + place);
            return place + 1;
        }
        if (salvage && !known.Follows(reading.signature)) {
            if (!TakeUnusual(window, place, reading.signature, reading.packet.kind)) return place + rivalAt;
            reading.packet.flags |= hint;
        }
        reading.packet.flags |= flags;
        reading.packet.offset = base + place;
        sink.OnPacket(reading.packet);
        place += length;
    }
    return place;
}

/// Takes one packet that is rarer, or the beginning of a synchronisation. Returns the place behind it.
template <class Sink>
size_t ItmDecoder<Sink>::WalkOther(const Window& window, size_t place, const HeaderEntry& entry) {
    if (entry.action == HeaderAction::Zero) return TakeZeros(window, place);
    Reading reading = ReadOther(window.data + place, entry);
    if (reading.packet.length > window.size - place) {
        stalled = true;
        return place;
    }
    if (IsDamage(reading.packet.kind)) {
        Lose(reading.packet, base + place);
        return place + 1;
    }
    // What was dropped was between the packets around an overflow: they need not follow each other as usual.
    const bool overflow = entry.action == HeaderAction::Overflow;
    if (overflow) known.Interrupt();
    if (salvage && !known.Follows(reading.signature)) {
        if (!TakeUnusual(window, place, reading.signature, reading.packet.kind)) return place + rivalAt;
        reading.packet.flags |= hint;
    }
    if (overflow) known.Interrupt();
    if (entry.action == HeaderAction::Page) {
        if (known.Knows(reading.signature)) state.knownPage = entry.value;
        state.page = entry.value;
    }
    Give(reading.packet, base + place);
    return place + reading.packet.length;
}

/// A packet that was never seen, or never behind the one before it. False when it is not taken: either more
/// bytes are needed (then rivalAt is 0), or step has been regained at rivalAt bytes behind its beginning.
template <class Sink>
bool ItmDecoder<Sink>::TakeUnusual(const Window& window, size_t place, uint16_t signature, PacketKind kind) {
    known.Settle();
    rivalAt = 0;
    if (!known.Knows(signature)) {
        const Ahead ahead = AheadOf(window, place);
        size_t rival = 0;
        Verdict verdict = HasRival(ahead, table, known, rival);
        if (verdict == Verdict::No && kind == PacketKind::StimulusPage) {
            verdict = IsFalsePage(ahead, table, known, state.page);
            rival = 1;
        }
        if (verdict != Verdict::No) {
            known.TakeBack();
            stalled = verdict == Verdict::Undecided;
            if (!stalled) TakeRival(window, place, rival);
            return false;
        }
    }
    hint = known.TakeIn(signature);
    return true;
}

template <class Sink>
void ItmDecoder<Sink>::TakeRival(const Window& window, size_t place, size_t rival) {
    const Packet broken{0,
                        window.data[place],
                        static_cast<uint16_t>(MalformedReason::OutOfStep),
                        PacketKind::Malformed,
                        0,
                        static_cast<uint32_t>(rival),
                        0};
    Lose(broken, base + place);
    rivalAt = rival;
    Regain(base + place + rival);
}

/// Counts zeros from `place` on, where there need not be any, and judges by the byte behind them, when it has
/// come.
template <class Sink>
size_t ItmDecoder<Sink>::TakeZeros(const Window& window, size_t place) {
    const uint8_t* const end = window.data + window.size;
    const uint8_t* const next =
        std::find_if(window.data + place, end, [](uint8_t byte) { return byte != 0; });
    const auto behind = static_cast<size_t>(next - window.data);
    state.zeros += behind - place;
    if (next == end) return behind;
    const bool sync = *next == kLastOfSync && state.zeros >= kFewestZeros;
    EndZeros(*next, base + behind);
    return sync ? behind + 1 : behind;
}

template <class Sink>
void ItmDecoder<Sink>::EndZeros(uint8_t byte, uint64_t offset) {
    const uint64_t zeros = state.zeros;
    state.zeros = 0;
    const bool sync = byte == kLastOfSync && zeros >= kFewestZeros;
    if (state.inStep && (!sync || zeros >= kLongestRun)) {
        const auto length = static_cast<uint32_t>(std::min<uint64_t>(zeros, kLongestRun));
        Lose({0, 0, static_cast<uint16_t>(MalformedReason::ZerosWithoutOne), PacketKind::Malformed, 0, length,
              0},
             offset - zeros);
    }
    if (!sync) return;
    const auto length = static_cast<uint32_t>(std::min<uint64_t>(zeros, kLongestRun - 1) + 1);
    if (!state.inStep) GiveUp(offset + 1 - length);
    state.inStep = true;
    state.waitForSync = false;
    state.flags = 0;
    state.page = state.knownPage = 0;
    Packet packet{0,      0, 0, PacketKind::Sync, static_cast<uint8_t>(std::min<uint32_t>(length, 255)),
                  length, 0};
    Give(packet, offset + 1 - length);
}

/// Out of step: looks for the beginning of a packet in front of `stop`.
template <class Sink>
size_t ItmDecoder<Sink>::Search(const Window& window, size_t stop, size_t place) {
    for (; place < stop; ++place) {
        if (state.brokenLength != 0 && base + place >= state.runStart + state.brokenLength) {
            GiveBroken(base + place);
        }
        if (window.data[place] == 0) return TakeZeros(window, place);
        if (!salvage || state.waitForSync) continue;
        const Verdict verdict = search.Look(AheadOf(window, place), base + place, table, known);
        if (verdict == Verdict::No) continue;
        if (verdict == Verdict::Yes) {
            Regain(base + place);
        } else {
            stalled = true;
        }
        break;
    }
    return place;
}

template <class Sink>
void ItmDecoder<Sink>::Lose(Packet broken, uint64_t offset) {
    known.Damage();
    search.Begin();
    if (!known.Empty() && !known.Knows(table[kPage0 | static_cast<unsigned>(state.page) << 4].signature)) {
        state.page = state.knownPage;
    }
    state.inStep = false;
    state.runStart = offset;
    state.broken = broken.kind;
    state.brokenLength = broken.length;
    state.brokenSource = broken.source;
    state.brokenValue = static_cast<uint8_t>(broken.value);
}

template <class Sink>
void ItmDecoder<Sink>::Regain(uint64_t offset) {
    GiveUp(offset);
    state.inStep = true;
    state.flags = kSalvaged;
}

/// Gives what was broken, but nothing from `end` on.
template <class Sink>
void ItmDecoder<Sink>::GiveBroken(uint64_t end) {
    const auto length = static_cast<uint32_t>(std::min<uint64_t>(state.brokenLength, end - state.runStart));
    state.brokenLength = 0;
    GiveRun({0, state.brokenValue, state.brokenSource, state.broken, 0, length, 0});
}

/// Gives the bytes from where step was lost up to `end`.
template <class Sink>
void ItmDecoder<Sink>::GiveUp(uint64_t end) {
    GiveBroken(end);
    while (state.runStart < end) {
        const auto length = static_cast<uint32_t>(std::min<uint64_t>(end - state.runStart, kLongestRun));
        GiveRun({0, 0, 0, PacketKind::Unsynchronised, 0, length, 0});
    }
}

template <class Sink>
void ItmDecoder<Sink>::GiveRun(Packet run) {
    if (run.length == 0) return;
    run.offset = state.runStart;
    run.size = static_cast<uint8_t>(std::min<uint32_t>(run.length, 255));
    state.runStart += run.length;
    sink.OnPacket(run);
}

}  // namespace Korr::Plim::Trace::Swo
