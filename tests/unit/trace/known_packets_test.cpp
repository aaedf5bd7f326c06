// What counts as known in a recording, and from when on.
#include "trace/known_packets.h"

#include <gtest/gtest.h>

namespace Korr::Plim::Trace::Swo {
namespace {

constexpr uint16_t kText = 0x01;
constexpr uint16_t kTime = 0xC0;
constexpr uint16_t kOdd = 0x09;

/// The packets of a recording, one after another.
class Recording {
  public:
    /// Returns the hint for it.
    uint8_t Packet(uint16_t signature) {
        if (known.Follows(signature)) return 0;
        known.Settle();
        return known.TakeIn(signature);
    }
    /// So many text packets, each with a timestamp.
    void Usual(int pairs) {
        for (int i = 0; i < pairs; ++i) {
            EXPECT_EQ(Packet(kText), 0);
            EXPECT_EQ(Packet(kTime), 0);
        }
    }
    /// One that is odd, between two usual ones, and the time for it to become known.
    uint8_t Odd(uint16_t signature = kOdd, int after = 100) {
        const uint8_t hint = Packet(signature);
        Packet(kTime);
        Usual(after);
        known.Settle();
        return hint;
    }

    KnownPackets known;
};

TEST(KnownPackets, APacketBecomesKnownWhen64MoreHaveCome) {
    Recording recording;
    recording.Packet(kText);
    for (int i = 0; i < 63; ++i) recording.Packet(kText);
    recording.known.Settle();
    EXPECT_FALSE(recording.known.Knows(kText));
    recording.Packet(kText);
    recording.known.Settle();
    EXPECT_TRUE(recording.known.Knows(kText));
}

TEST(KnownPackets, WhatCameShortlyBeforeDamageIsForgotten) {
    Recording recording;
    recording.Usual(100);
    recording.Packet(kOdd);
    recording.known.Damage();
    recording.Usual(100);
    recording.known.Settle();
    EXPECT_FALSE(recording.known.Knows(kOdd));
}

TEST(KnownPackets, WhatCameLongBeforeDamageIsNot) {
    Recording recording;
    recording.Usual(100);
    recording.Packet(kOdd);
    recording.Packet(kTime);
    recording.Usual(32);
    recording.known.Damage();
    EXPECT_TRUE(recording.known.Knows(kOdd));
}

TEST(KnownPackets, WhatIsNewLateIsAHintAndNotBelievedAtFirstSight) {
    Recording recording;
    recording.Usual(400);
    EXPECT_EQ(recording.Odd(), kKindHint);
    EXPECT_FALSE(recording.known.Knows(kOdd));
}

TEST(KnownPackets, WhatIsNewLateIsBelievedWhenItComesAgainSoon) {
    Recording recording;
    recording.Usual(400);
    EXPECT_EQ(recording.Odd(), kKindHint);
    EXPECT_EQ(recording.Odd(), 0);
    EXPECT_TRUE(recording.known.Knows(kOdd));
}

TEST(KnownPackets, AgainWithin24PacketsIsTheSameHole) {
    Recording recording;
    recording.Usual(400);
    EXPECT_EQ(recording.Packet(kOdd), kKindHint);
    recording.Packet(kTime);
    recording.Usual(10);
    EXPECT_EQ(recording.Odd(), 0);
    EXPECT_FALSE(recording.known.Knows(kOdd));
    EXPECT_EQ(recording.Odd(), 0);
    EXPECT_TRUE(recording.known.Knows(kOdd));
}

TEST(KnownPackets, WhatComesSeldomIsBelievedTheEighthTime) {
    Recording recording;
    recording.Usual(400);
    for (int i = 1; i < KnownPackets::kOften; ++i) {
        EXPECT_EQ(recording.Odd(kOdd, 600), kKindHint) << i;
        EXPECT_FALSE(recording.known.Knows(kOdd)) << i;
    }
    EXPECT_EQ(recording.Odd(kOdd, 600), 0);
    EXPECT_TRUE(recording.known.Knows(kOdd));
}

TEST(KnownPackets, SoonIsUpTo1024Packets) {
    Recording recording;
    recording.Usual(400);
    EXPECT_EQ(recording.Odd(kOdd, 511), kKindHint);
    EXPECT_EQ(recording.Odd(), 0) << "1,024 packets behind the first one";
    Recording later;
    later.Usual(400);
    EXPECT_EQ(later.Odd(kOdd, 512), kKindHint);
    EXPECT_EQ(later.Odd(), kKindHint);
}

TEST(KnownPackets, NewsAreBelievedUpTo256PacketsBehindTheLast) {
    for (const uint16_t since : {uint16_t{255}, uint16_t{256}}) {
        Recording recording;
        recording.Usual(60);
        for (int i = 0; recording.known.Now().sinceLearning < since; ++i) {
            recording.Packet(i % 2 == 0 ? kText : kTime);
        }
        recording.known.Interrupt();
        recording.Odd();
        EXPECT_EQ(recording.known.Knows(kOdd), since == 255) << since;
    }
}

TEST(KnownPackets, NewsAreAHintMoreThan256PacketsBehindTheLast) {
    for (const uint16_t since : {uint16_t{255}, uint16_t{256}}) {
        Recording recording;
        recording.Usual(60);
        for (int i = 0; recording.known.Now().sinceNews < since; ++i) {
            recording.Packet(i % 2 == 0 ? kText : kTime);
        }
        EXPECT_EQ(recording.Packet(kOdd), since == 255 ? 0 : kKindHint) << since;
    }
}

TEST(KnownPackets, AnOrderIsNoHintWhereNoneHasBeenSeen) {
    Recording recording;
    recording.Usual(20);
    recording.Odd(kOdd, 400);  // known, but not what comes before and behind it
    ASSERT_TRUE(recording.known.Knows(kOdd));
    EXPECT_EQ(recording.Packet(kOdd), 0) << "nothing has come before it";
    recording.known.Interrupt();
    recording.Usual(400);
    recording.known.Interrupt();
    EXPECT_EQ(recording.Packet(kOdd), 0);
    EXPECT_EQ(recording.Packet(kTime), 0) << "nothing has come behind it";
}

TEST(KnownPackets, AnOrderThatIsNewLateIsAHintUntilItComesAgainSoon) {
    Recording recording;
    recording.Usual(400);
    const auto twice = [&](int after) {
        recording.Packet(kText);
        const uint8_t hint = recording.Packet(kText);
        recording.Packet(kTime);
        recording.Usual(after);
        return hint;
    };
    EXPECT_EQ(twice(700), kOrderHint);
    EXPECT_EQ(twice(200), kOrderHint);  // not soon enough
    EXPECT_EQ(twice(700), 0);
    EXPECT_EQ(twice(700), 0);
}

/// A recording of many kinds of packets: eight by turns, then the next eight. The n-th that became known has
/// signature n.
class ManyKinds {
  public:
    static constexpr uint16_t kKinds = 136;
    ManyKinds() {
        for (uint16_t first = 1; first < kKinds; first = static_cast<uint16_t>(first + kTogether)) {
            Turns(first, 12);
        }
        EXPECT_EQ(recording.known.Now().known, kKinds);
        Usual();
    }
    /// The last eight of them, 400 packets.
    void Usual() {
        recording.known.Interrupt();
        Turns(kKinds - kTogether + 1, 50);
    }
    /// The hint for `to` behind `from`.
    uint8_t Pair(uint16_t from, uint16_t to) {
        recording.known.Interrupt();
        EXPECT_EQ(recording.Packet(from), 0);
        return recording.Packet(to);
    }

  private:
    static constexpr uint16_t kTogether = KnownPackets::kMostFresh;
    void Turns(uint16_t first, int times) {
        for (int i = 0; i < times * kTogether; ++i) {
            EXPECT_EQ(recording.Packet(static_cast<uint16_t>(first + i % kTogether)), 0);
        }
    }

    Recording recording;
};

TEST(KnownPackets, EveryOneOfManyOrdersIsToldApart) {
    ManyKinds recording;
    EXPECT_EQ(recording.Pair(63, 64), 0);
    EXPECT_EQ(recording.Pair(63, 66), kOrderHint);
    recording.Usual();
    EXPECT_EQ(recording.Pair(127, 128), 0);
    EXPECT_EQ(recording.Pair(127, 130), kOrderHint);
}

TEST(KnownPackets, AnOrderThatCameBeforeIsNoOtherOne) {
    ManyKinds recording;
    EXPECT_EQ(recording.Pair(1, 132), kOrderHint);
    recording.Usual();
    EXPECT_EQ(recording.Pair(129, 132), kOrderHint);
    recording.Usual();
    EXPECT_EQ(recording.Pair(129, 4), kOrderHint);
    recording.Usual();
    EXPECT_EQ(recording.Pair(129, 4), 0) << "again";
}

TEST(KnownPackets, ExceptionsHaveNoHeaderOfTheirOwn) {
    const auto headers = [](uint16_t signature) {
        Recording recording;
        for (int i = 0; i < 65; ++i) recording.Packet(signature);
        recording.known.Settle();
        EXPECT_TRUE(recording.known.KnowsOnAnyPage(signature));
        return recording.known.Headers();
    };
    EXPECT_EQ(headers(kExceptionSignatures - 1), 1U);
    EXPECT_EQ(headers(kExceptionSignatures), 0U);
}

TEST(KnownPackets, ManyOddThingsAreBelievedInTheEnd) {
    Recording recording;
    recording.Usual(400);
    for (uint16_t i = 0; i < KnownPackets::kMostSightings; ++i) {
        EXPECT_EQ(recording.Odd(static_cast<uint16_t>(kExceptionSignatures + i), 150), kKindHint) << i;
        EXPECT_FALSE(recording.known.Knows(static_cast<uint16_t>(kExceptionSignatures + i))) << i;
    }
    EXPECT_EQ(recording.Odd(kOdd, 150), kKindHint);
    EXPECT_TRUE(recording.known.Knows(kOdd));
}

TEST(KnownPackets, AnEarlierStateGoesOnInTheSameWay) {
    Recording recording;
    recording.Usual(400);
    recording.Odd();
    recording.Packet(0x0A);
    const KnownPackets::Mark mark = recording.known.Now();
    Recording other;
    recording.Usual(300);
    recording.Odd();
    recording.Odd(0x0B);
    other.known.Rewind(mark, recording.known);
    other.Usual(300);
    EXPECT_EQ(other.Odd(), 0);  // it was seen before the mark
    EXPECT_TRUE(other.known.Knows(kOdd));
    EXPECT_FALSE(other.known.Knows(0x0B));
    EXPECT_EQ(other.Odd(0x0B), recording.Odd(0x0C));
}

TEST(KnownPackets, AnEarlierStateKnowsWhichPacketCameLast) {
    Recording recording;
    recording.Usual(400);
    const KnownPackets::Mark mark = recording.known.Now();
    EXPECT_EQ(recording.Packet(kTime), kOrderHint) << "behind a timestamp";
    Recording other;
    other.known.Rewind(mark, recording.known);
    EXPECT_EQ(other.Packet(kTime), kOrderHint);
}

TEST(KnownPackets, AnEarlierStateKnowsWhatIsOnProbation) {
    Recording recording;
    recording.Usual(60);
    recording.Packet(kOdd);
    recording.Packet(kTime);
    const KnownPackets::Mark mark = recording.known.Now();
    Recording other;
    other.known.Rewind(mark, recording.known);
    other.Usual(40);
    other.known.Settle();
    EXPECT_TRUE(other.known.Knows(kOdd));
}

TEST(KnownPackets, AnEarlierStateKnowsHowLongProbationHasLasted) {
    for (const int after : {11, 12}) {  // 64 packets in all, or 66
        Recording recording;
        recording.Usual(60);
        recording.Packet(kOdd);
        recording.Packet(kTime);
        recording.Usual(20);
        const KnownPackets::Mark mark = recording.known.Now();
        Recording other;
        other.known.Rewind(mark, recording.known);
        other.Usual(after);
        EXPECT_FALSE(other.known.Knows(kOdd));
        other.known.Settle();
        EXPECT_EQ(other.known.Knows(kOdd), after == 12) << after;
    }
}

TEST(KnownPackets, AMarkHoldsNothingOfWhatIsForgotten) {
    Recording recording;
    recording.Usual(100);
    recording.Packet(kOdd);
    EXPECT_EQ(recording.known.Now().freshSignature[0], kOdd);
    recording.known.Damage();
    const KnownPackets::Mark mark = recording.known.Now();
    EXPECT_EQ(mark.fresh, 0);
    EXPECT_EQ(mark.freshSignature, decltype(mark.freshSignature){});
    EXPECT_EQ(mark.freshAge, decltype(mark.freshAge){});
}

TEST(KnownPackets, AnEarlierStateKnowsHowLongNothingWasNew) {
    Recording recording;
    recording.Usual(400);
    const KnownPackets::Mark settled = recording.known.Now();
    recording.Odd();
    const KnownPackets::Mark unsettled = recording.known.Now();
    Recording other;
    other.known.Rewind(settled, recording.known);
    EXPECT_EQ(other.Odd(0x0B), kKindHint);
    EXPECT_FALSE(other.known.Knows(0x0B)) << "nothing was learnt for a long time";
    other.known.Rewind(unsettled, recording.known);
    EXPECT_EQ(other.Odd(0x0B), 0) << "the other one was new 200 packets before";
    EXPECT_FALSE(other.known.Knows(0x0B));
}

}  // namespace
}  // namespace Korr::Plim::Trace::Swo
