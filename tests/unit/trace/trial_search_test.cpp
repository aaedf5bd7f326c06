// The search for the beginning of a packet gives what reading on from every single byte gives.
#include "trace/trial_search.h"

#include <gtest/gtest.h>

#include "tests/unit/trace/itm_encoder.h"
#include "trace/packet_walk.h"

namespace Korr::Plim::Trace::Swo {
namespace {

const HeaderTable& kTable = HeadersOf(Architecture::Any);

/// The rule, written down as it is meant: from one place on, nothing kept.
Verdict Begins(const Ahead& ahead, const KnownPackets& known) {
    PacketWalk walk(Seen(ahead), kTable);
    bool allKnown = true;
    for (unsigned inARow = 0; inARow < 64; ++inARow) {
        if (allKnown && inARow >= 24) return Verdict::Yes;
        const bool enough = allKnown && inARow >= 8;
        switch (walk.Next()) {
            case PacketWalk::Found::End:
                if (ahead.bytes.size() >= 512) return Verdict::No;
                if (!ahead.last) return Verdict::Undecided;
                return enough ? Verdict::Yes : Verdict::No;
            case PacketWalk::Found::Broken:
                return Verdict::No;
            case PacketWalk::Found::Sync:
                return enough ? Verdict::Yes : Verdict::No;
            case PacketWalk::Found::Packet:
                if (known.KnowsOnAnyPage(walk.Last().signature)) break;
                if (!IsAssigned(walk.Last().packet.kind)) return Verdict::No;
                allKnown = false;
        }
    }
    return Verdict::Yes;
}

KnownPackets Learnt(const Stream& stream) {
    KnownPackets known;
    PacketWalk walk(stream.bytes, kTable);
    while (walk.Next() < PacketWalk::Found::Broken) {
        if (!known.Follows(walk.Last().signature)) known.TakeIn(walk.Last().signature);
    }
    known.Settle();
    return known;
}

/// Pieces of good packets, noise, zeros and synchronisations.
Bytes Debris(unsigned seed) {
    std::mt19937 random(seed);
    Bytes bytes;
    while (bytes.size() < 6000) {
        const size_t count = 1 + random() % 200;
        switch (random() % 5) {
            case 0:
                for (size_t i = 0; i < count; ++i) bytes.push_back(static_cast<uint8_t>(random()));
                break;
            case 1:
                bytes.insert(bytes.end(), random() % 5 == 0 ? 3 * count : random() % 8, 0);
                break;
            case 2:
                bytes.insert(bytes.end(), {0, 0, 0, 0, 0, 0x80});
                break;
            case 3:
                for (size_t i = 0; i < count; ++i) bytes.push_back(static_cast<uint8_t>(random() % 256 | 1));
                break;
            default: {
                const Stream good = FirmwareStream(seed, 1 + random() % 90, random() % 2 == 0);
                const size_t from = random() % good.bytes.size();
                bytes.insert(bytes.end(), good.bytes.begin() + static_cast<std::ptrdiff_t>(from),
                             good.bytes.end());
            }
        }
    }
    return bytes;
}

TEST(TrialSearch, GivesWhatReadingFromEveryByteGives) {
    size_t found[3] = {};
    for (unsigned seed = 1; seed <= 30; ++seed) {
        const KnownPackets known = seed % 4 == 0 ? KnownPackets() : Learnt(FirmwareStream(seed, 900, true));
        const Bytes bytes = Debris(seed);
        TrialSearch search;
        size_t come = 0;
        for (size_t at = 0; at < bytes.size();) {
            if (bytes[at] == 0 || come <= at) {
                if (bytes[at] == 0) ++at;
                come = std::min(bytes.size(), std::max(come, at + 1));
                continue;
            }
            const Ahead ahead{std::span(bytes).subspan(at, come - at), come == bytes.size()};
            const Verdict verdict = search.Look(ahead, at, kTable, known);
            ASSERT_EQ(verdict, Begins(ahead, known)) << "seed " << seed << " at " << at << " of " << come;
            ++found[static_cast<size_t>(verdict)];
            if (verdict == Verdict::Undecided) {
                come = std::min(bytes.size(), come + 1 + at * 7 % (at % 3 == 0 ? 600 : 20));
            } else {
                ++at;
            }
        }
    }
    EXPECT_GT(found[static_cast<size_t>(Verdict::Yes)], 500U);
    EXPECT_GT(found[static_cast<size_t>(Verdict::No)], 5000U);
    EXPECT_GT(found[static_cast<size_t>(Verdict::Undecided)], 50U);
}

TEST(TrialSearch, BeginsAnewWithWhatIsKnownThen) {
    const Stream stream = FirmwareStream(1, 400, true);
    Bytes bytes(stream.bytes.begin(), stream.bytes.begin() + 60);
    bytes.push_back(0x04);
    TrialSearch search;
    const Ahead ahead{bytes, true};
    EXPECT_EQ(search.Look(ahead, 0, kTable, KnownPackets()), Verdict::No);
    const KnownPackets known = Learnt(stream);
    search.Begin();
    EXPECT_EQ(search.Look(ahead, 0, kTable, known), Begins(ahead, known));
}

}  // namespace
}  // namespace Korr::Plim::Trace::Swo
