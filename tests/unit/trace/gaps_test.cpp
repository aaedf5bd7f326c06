// Losses that only the time tells of: missing periods, ticks and arrivals.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "trace/arrival_gaps.h"
#include "trace/period_gaps.h"

namespace Korr::Plim::Trace::Swo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Packet Of(PacketKind kind, uint16_t source = 0, uint8_t flags = 0) {
    return {0, 0, source, kind, 1, 2, flags};
}
PacketTime At(uint64_t ticks, TimeQuality quality = TimeQuality::Exact) { return {ticks, ticks, quality}; }

/// A source that comes at these distances; what is missing before each packet, where something is.
class Source {
  public:
    explicit Source(const Packet& kind = Of(PacketKind::Stimulus, 3)) : packet(kind) {}
    uint64_t Come(uint64_t distance, TimeQuality quality = TimeQuality::Exact) {
        ticks += distance;
        return gaps.Take(packet, At(ticks, quality));
    }
    uint64_t Often(int times, uint64_t distance) {
        uint64_t missing = 0;
        for (int i = 0; i < times; ++i) missing += Come(distance);
        return missing;
    }

    PeriodGaps gaps;
    Packet packet;
    uint64_t ticks = 1000;
};

TEST(PeriodGaps, AMultipleOf100EqualDistancesIsOne) {
    Source source;
    EXPECT_EQ(source.Often(101, 1000), 0U);
    EXPECT_EQ(source.Come(3000), 2U);
    EXPECT_EQ(source.Come(2000), 1U);
    EXPECT_EQ(source.Come(1000), 0U);
}

TEST(PeriodGaps, OneDistanceTooFewShowsNoPeriod) {
    Source source;
    EXPECT_EQ(source.Often(100, 1000), 0U);  // of which 99 distances; the first packet has none
    EXPECT_EQ(source.Come(3000), 0U);
}

TEST(PeriodGaps, DistancesMayDifferALittle) {
    Source source;
    for (int i = 0; i < 120; ++i) EXPECT_EQ(source.Come(i % 2 == 0 ? 1000 : 1008), 0U);
    EXPECT_EQ(source.Come(2014), 1U);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(source.Come(1004), 0U);
    EXPECT_EQ(source.Come(2040), 0U) << "too far from a multiple";
}

/// What shows to be missing at the last of these distances, behind 100 equal ones.
uint64_t MissingBehind(uint64_t equal, std::initializer_list<uint64_t> distances) {
    Source source;
    EXPECT_EQ(source.Often(101, equal), 0U);
    uint64_t missing = 0;
    for (const uint64_t distance : distances) missing = source.Come(distance);
    return missing;
}

TEST(PeriodGaps, DistancesMayDifferByATickAndThe128thPart) {
    EXPECT_EQ(MissingBehind(1000, {1008, 2000}), 1U);
    EXPECT_EQ(MissingBehind(1000, {1009, 2000}), 0U) << "the period begins anew";
    EXPECT_EQ(MissingBehind(128, {130, 256}), 1U);
    EXPECT_EQ(MissingBehind(128, {131, 256}), 0U);
    EXPECT_EQ(MissingBehind(127, {128, 254}), 1U);
    EXPECT_EQ(MissingBehind(127, {129, 254}), 0U);
}

TEST(PeriodGaps, MultiplesMayDifferByAsManyTimesThat) {
    EXPECT_EQ(MissingBehind(1000, {2016}), 1U);
    EXPECT_EQ(MissingBehind(1000, {2017}), 0U);
    EXPECT_EQ(MissingBehind(1000, {3024}), 2U);
    EXPECT_EQ(MissingBehind(1000, {3025}), 0U);
    EXPECT_EQ(MissingBehind(1000, {2976}), 2U);
    EXPECT_EQ(MissingBehind(1000, {2975}), 0U);
}

TEST(PeriodGaps, AnythingElseThanAMultipleIsNone) {
    Source source;
    source.Often(101, 1000);
    EXPECT_EQ(source.Come(2500), 0U);
    EXPECT_EQ(source.Come(2000), 0U) << "the period begins anew";
}

TEST(PeriodGaps, ALongPauseIsNone) {
    Source longest;
    longest.Often(101, 1000);
    EXPECT_EQ(longest.Come(17000), 16U);
    Source longer;
    longer.Often(101, 1000);
    EXPECT_EQ(longer.Come(18000), 0U);
}

TEST(PeriodGaps, AfterAPauseTwiceAsManyDistancesAreAskedFor) {
    Source source;
    source.Often(101, 1000);
    EXPECT_EQ(source.Come(2500), 0U);
    source.Often(150, 1000);
    EXPECT_EQ(source.Come(2000), 0U);
    source.Often(201, 1000);
    EXPECT_EQ(source.Come(2000), 1U);
}

TEST(PeriodGaps, ShortDistancesAreBursts) {
    Source shorter;
    shorter.Often(200, 63);
    EXPECT_EQ(shorter.Come(126), 0U);
    Source shortest;
    shortest.Often(200, 64);
    EXPECT_EQ(shortest.Come(128), 1U);
}

TEST(PeriodGaps, SeveralAtOnceCountAsOne) {
    Source source;
    for (int i = 0; i < 101; ++i) {
        EXPECT_EQ(source.Come(1000), 0U);
        EXPECT_EQ(source.Come(0), 0U);
    }
    EXPECT_EQ(source.Come(2000), 1U);
}

TEST(PeriodGaps, WhatCameBeforeALossThatWasToldIsNotCompared) {
    Source source;
    source.Often(101, 1000);
    EXPECT_EQ(source.Come(500, TimeQuality::Late), 0U);
    EXPECT_EQ(source.Come(2000), 0U);
    EXPECT_EQ(source.Come(2000), 0U);
    Source delayed;
    delayed.Often(101, 1000);
    EXPECT_EQ(delayed.Come(500, TimeQuality::Bounded), 0U);
    EXPECT_EQ(delayed.Come(1500), 1U);
}

TEST(PeriodGaps, EachSourceHasItsOwn) {
    using Numbers = std::initializer_list<uint16_t>;
    std::vector<Packet> kinds = {Of(PacketKind::PcSample), Of(PacketKind::EventCounters)};
    for (const uint16_t port : Numbers{0, 1, 2, 128, 254, 255}) {
        kinds.push_back(Of(PacketKind::Stimulus, port));
    }
    for (const uint16_t number : Numbers{2, 3, 15, 256, 510, 511}) {
        kinds.push_back(Of(PacketKind::Exception, number, kEntered));
    }
    for (const PacketKind kind : {PacketKind::DataValue, PacketKind::DataPc, PacketKind::DataAddress}) {
        for (uint16_t comparator = 0; comparator < 4; ++comparator) kinds.push_back(Of(kind, comparator));
    }
    PeriodGaps gaps;
    for (uint64_t i = 0; i < 110; ++i) {
        for (size_t kind = 0; kind < kinds.size(); ++kind) {
            EXPECT_EQ(gaps.Take(kinds[kind], At(i * (1000 + 10 * kind))), 0U) << kind;
        }
    }
    for (size_t kind = 0; kind < kinds.size(); ++kind) {
        EXPECT_EQ(gaps.Take(kinds[kind], At(112 * (1000 + 10 * kind))), 2U) << kind;
    }
}

TEST(PeriodGaps, WhatHasNoPeriodIsNotLookedAt) {
    for (const Packet& kind :
         {Of(PacketKind::Exception, 15, kExited), Of(PacketKind::LocalTime), Of(PacketKind::Sync),
          Of(PacketKind::Overflow), Of(PacketKind::StimulusPage)}) {
        Source source(kind);
        source.Often(200, 1000);
        EXPECT_EQ(source.Come(2000), 0U);
    }
}

struct Found {
    uint64_t offset;
    uint64_t milliseconds;
    bool operator==(const Found&) const = default;
};

/// Looks of so many milliseconds and bytes, one after another.
std::vector<Found> Silences(const std::vector<Arrival>& looks) {
    std::vector<Arrival> arrivals{{}};
    for (const Arrival& look : looks) {
        arrivals.push_back(
            {arrivals.back().milliseconds + look.milliseconds, arrivals.back().bytes + look.bytes});
    }
    std::vector<Found> found;
    for (const Silence& silence : FindSilences(arrivals)) {
        found.push_back({silence.offset, silence.milliseconds});
    }
    return found;
}

std::vector<Arrival> Busy(size_t looks) { return std::vector<Arrival>(looks, {100, 10000}); }

std::vector<Arrival> WithLook(const Arrival& look, size_t before = 4, size_t behind = 4) {
    std::vector<Arrival> looks = Busy(before);
    looks.push_back(look);
    looks.insert(looks.end(), behind, {100, 10000});
    return looks;
}

TEST(ArrivalGaps, ABusyLineThatWasSilentIsOne) {
    EXPECT_EQ(Silences(WithLook({400, 10000})), (std::vector<Found>{{40000, 300}}));
    EXPECT_EQ(Silences(WithLook({100, 4800})), (std::vector<Found>{{40000, 52}}));
}

TEST(ArrivalGaps, FiftyMillisecondsAreNone) {
    EXPECT_THAT(Silences(WithLook({150, 10000})), IsEmpty());
    EXPECT_THAT(Silences(WithLook({400, 40000})), IsEmpty()) << "the host looked late, and all had come";
}

TEST(ArrivalGaps, TheLineMustBeBusyBeforeAndBehind) {
    EXPECT_THAT(Silences(WithLook({400, 10000}, 3, 4)), IsEmpty());
    EXPECT_THAT(Silences(WithLook({400, 10000}, 4, 3)), IsEmpty());
    std::vector<Arrival> looks = WithLook({400, 10000}, 5, 5);
    looks[3].bytes = 6000;
    EXPECT_THAT(Silences(looks), IsEmpty());
    looks[3].bytes = 10000;
    looks[7].milliseconds = 140;
    EXPECT_THAT(Silences(looks), IsEmpty());
}

TEST(ArrivalGaps, WhatStandsBehindTheLastArrivalIsNotLookedAt) {
    std::vector<Arrival> arrivals{{}};
    for (const Arrival& look : WithLook({400, 10000})) {
        arrivals.push_back(
            {arrivals.back().milliseconds + look.milliseconds, arrivals.back().bytes + look.bytes});
    }
    EXPECT_EQ(FindSilences(arrivals).size(), 1U);
    EXPECT_THAT(FindSilences(std::span(arrivals).first(arrivals.size() - 1)), IsEmpty());
}

TEST(ArrivalGaps, AllFourLooksBesideItMustBeSteady) {
    std::vector<Arrival> looks = WithLook({400, 10000});
    looks[0].bytes = 6000;
    EXPECT_THAT(Silences(looks), IsEmpty());
    looks = WithLook({400, 10000});
    looks[0].milliseconds = 125;
    looks[8].milliseconds = 75;
    EXPECT_EQ(Silences(looks).size(), 1U) << "25 ms early and late";
    looks[0].milliseconds = 126;
    looks[8].milliseconds = 74;
    EXPECT_THAT(Silences(looks), IsEmpty());
}

TEST(ArrivalGaps, ALineWithoutATimeIsNotBusy) {
    std::vector<Arrival> looks(9, {0, 10000});
    looks[4].milliseconds = 400;
    EXPECT_THAT(Silences(looks), IsEmpty());
}

TEST(ArrivalGaps, FewOrNoArrivalsAreNone) {
    EXPECT_THAT(FindSilences({}), IsEmpty());
    EXPECT_THAT(Silences({}), IsEmpty());
    EXPECT_THAT(Silences(std::vector<Arrival>(20, {100, 0})), IsEmpty());
    EXPECT_THAT(Silences(std::vector<Arrival>(20, {0, 100})), IsEmpty());
}

}  // namespace
}  // namespace Korr::Plim::Trace::Swo
