#include "trace/trial_sync.h"

#include <algorithm>
#include <bitset>

#include "trace/packet_walk.h"

namespace Korr::Plim::Trace::Swo {
namespace {

using Places = std::bitset<kLookahead>;

/// The packets that are read from the first byte on.
struct Course {
    Places beginnings;
    unsigned packets = 0;  ///< of the first kKnownInARow
    unsigned unknown = 0;  ///< of those
    bool broken = false;   ///< before there were so many
};

Course Follow(const Ahead& ahead, const HeaderTable& table, const KnownPackets& known) {
    Course course;
    PacketWalk walk(Seen(ahead), table);
    for (;;) {
        if (walk.Place() < course.beginnings.size()) course.beginnings.set(walk.Place());
        const PacketWalk::Found found = walk.Next();
        const bool counts = course.packets < kKnownInARow;
        if (found == PacketWalk::Found::Broken) course.broken = counts;
        if (found >= PacketWalk::Found::Broken) return course;
        if (!counts) continue;
        ++course.packets;
        if (found == PacketWalk::Found::Packet && !known.KnowsOnAnyPage(walk.Last().signature)) {
            ++course.unknown;
        }
    }
}

/// Whether what is read from the first byte on is doubtful enough to look for something better.
Verdict IsDoubtful(const Ahead& ahead, const Course& course) {
    if (course.broken || course.unknown >= kDoubtful) return Verdict::Yes;
    return course.packets >= kKnownInARow ? Verdict::No : AtEnd(ahead, false);
}

Verdict IsRival(const Ahead& ahead, const HeaderTable& table, const KnownPackets& known,
                const Places& beginnings, size_t from) {
    PacketWalk walk(Seen(ahead), table, from);
    for (unsigned inARow = 0; inARow < kKnownInARow; ++inARow) {
        if (walk.Place() < beginnings.size() && beginnings[walk.Place()]) return Verdict::No;
        switch (walk.Next()) {
            case PacketWalk::Found::End:
                return AtEnd(ahead, false);
            case PacketWalk::Found::Broken:
                return Verdict::No;
            case PacketWalk::Found::Sync:
                return inARow >= kKnownBeforeAnchor ? Verdict::Yes : Verdict::No;
            case PacketWalk::Found::Packet:
                if (!known.KnowsOnAnyPage(walk.Last().signature)) return Verdict::No;
        }
    }
    return Verdict::Yes;
}

}  // namespace

Verdict HasRival(const Ahead& ahead, const HeaderTable& table, const KnownPackets& known, size_t& rival) {
    if (known.Empty() || known.Headers() > kTellingHeaders) return Verdict::No;
    const Course course = Follow(ahead, table, known);
    const Verdict doubtful = IsDoubtful(ahead, course);
    if (doubtful == Verdict::No) return Verdict::No;
    for (rival = 1; rival <= kRivals; ++rival) {
        const Verdict verdict = IsRival(ahead, table, known, course.beginnings, rival);
        if (verdict == Verdict::Yes) return doubtful;
        if (verdict == Verdict::Undecided) return verdict;
    }
    return Verdict::No;
}

Verdict IsFalsePage(const Ahead& ahead, const HeaderTable& table, const KnownPackets& known, uint8_t page) {
    PacketWalk walk(Seen(ahead), table);
    unsigned knownWrites = 0;
    unsigned otherWrites = 0;
    walk.Next();
    for (unsigned packets = 0; walk.Next() == PacketWalk::Found::Packet && otherWrites < kKnownBeforeAnchor;
         ++packets) {
        const Reading& reading = walk.Last();
        if (reading.packet.kind == PacketKind::StimulusPage) {
            const bool mayBeWrong = packets < kRivals && !known.Knows(reading.signature);
            if (!mayBeWrong || reading.packet.value == page) return Verdict::No;
        }
        if (reading.packet.kind != PacketKind::Stimulus) continue;
        ++(known.Knows(static_cast<uint16_t>(reading.signature | page << 8)) ? knownWrites : otherWrites);
    }
    // Step may have been lost just before: then a few packets are still wrong.
    const bool isFalse = knownWrites >= kKnownBeforeAnchor && otherWrites * 4 <= knownWrites;
    const bool ended = walk.Next() == PacketWalk::Found::End;
    return ended && ahead.bytes.size() < kLookahead && !ahead.last ? Verdict::Undecided
           : isFalse                                               ? Verdict::Yes
                                                                   : Verdict::No;
}

}  // namespace Korr::Plim::Trace::Swo
