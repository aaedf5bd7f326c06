// When packets happened, which of them are suspect, and the text they carry.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/trace/packet_log.h"
#include "trace/packet_timer.h"
#include "trace/text_lines.h"

namespace Korr::Plim::Trace::Swo {
namespace {

using testing::ElementsAre;

Packet Local(uint32_t ticks, uint8_t flags = 0) { return {0, ticks, 0, PacketKind::LocalTime, 2, 3, flags}; }
Packet Low(uint32_t bits, uint8_t size = 4, uint8_t flags = 0) {
    return {0, bits, 0, PacketKind::GlobalTimeLow, size, size + 1U, flags};
}
Packet High(uint64_t bits) {
    return {
        0, static_cast<uint32_t>(bits), static_cast<uint16_t>(bits >> 32), PacketKind::GlobalTimeHigh, 6, 7,
        0};
}
Packet Kind(PacketKind kind) { return {0, 0, 0, kind, 0, 1, 0}; }

/// The clock after these packets.
TraceClock After(std::initializer_list<Packet> packets, uint32_t prescale = 1) {
    TraceClock clock(prescale);
    for (const Packet& packet : packets) clock.OnPacket(packet);
    return clock;
}

std::string Text(const PacketTime& time) {
    return std::to_string(time.ticks) + " from " + std::to_string(time.earliest) + " " +
           std::string(QualityName(time.quality));
}

TEST(TraceClock, HasNoTimeBeforeTheFirstTimestamp) {
    EXPECT_EQ(Text(After({}).Last()), "0 from 0 none");
    EXPECT_EQ(Text(After({}).Open()), "0 from 0 none");
    EXPECT_EQ(Text(After({Kind(PacketKind::Overflow)}).Open()), "0 from 0 none");
}

TEST(TraceClock, AddsLocalTimestampsUp) {
    EXPECT_EQ(Text(After({Local(5), Local(0x0FFFFFFF)}).Last()), "268435460 from 268435460 exact");
    EXPECT_EQ(Text(After({Local(5), Local(7)}).Open()), "12 from 12 bounded");
}

TEST(TraceClock, ADelayedTimestampIsAnInterval) {
    for (const uint8_t flags : {kTimestampDelayed, kPacketDelayed, kKindFlags}) {
        EXPECT_EQ(Text(After({Local(5), Local(7, flags)}).Last()), "12 from 5 bounded");
    }
    EXPECT_EQ(Text(After({Local(5), Local(7, 3), Local(1)}).Last()), "13 from 13 exact");
}

TEST(TraceClock, IsLateAfterAnOverflowOrDamage) {
    for (const PacketKind kind :
         {PacketKind::Overflow, PacketKind::Reserved, PacketKind::Malformed, PacketKind::Unsynchronised}) {
        EXPECT_EQ(Text(After({Local(5), Kind(kind), Local(7), Local(1)}).Last()), "13 from 13 late");
        EXPECT_EQ(Text(After({Local(5), Kind(kind)}).Open()), "5 from 5 late");
    }
    for (const PacketKind kind : {PacketKind::Sync, PacketKind::UnknownHardware, PacketKind::TruncatedEnd}) {
        EXPECT_EQ(Text(After({Local(5), Kind(kind), Local(7)}).Last()), "12 from 12 exact");
    }
}

TEST(TraceClock, GlobalTimestampsTellHowMuchIsMissing) {
    const TraceClock clock =
        After({Low(1000), High(1), Local(100), Kind(PacketKind::Overflow), Local(30), Low(3000), Local(70)});
    EXPECT_EQ(Text(clock.Last()), "2100 from 2100 exact");
    EXPECT_EQ(clock.TicksFound(), 1900U);
    EXPECT_EQ(clock.GlobalTime(), (1U << 26) + 3000U);
}

TEST(TraceClock, TheUpperPartAloneIsAGlobalTimestampToo) {
    const TraceClock clock =
        After({Low(1000), High(0), Local(100), Kind(PacketKind::Overflow), High(1), Local(70)});
    EXPECT_EQ(Text(clock.Last()), "67108964 from 67108964 exact");
}

TEST(TraceClock, TheyCountCyclesNotTicks) {
    const TraceClock clock = After(
        {Low(1000), High(0), Local(100), Kind(PacketKind::Overflow), Low(1000 + 16 * 500), Local(70)}, 16);
    EXPECT_EQ(Text(clock.Last()), "600 from 600 exact");
}

TEST(TraceClock, OneGlobalTimestampAfterALossIsNotEnough) {
    EXPECT_EQ(Text(After({Local(5), Kind(PacketKind::Overflow), Low(1000), High(0), Local(7)}).Last()),
              "12 from 12 late");
}

TEST(TraceClock, NorOneThatWasLostOrIsNotComplete) {
    // The overflow is between the global timestamp and the local one behind it.
    EXPECT_EQ(Text(After({Low(1), High(0), Local(5), Low(2), Kind(PacketKind::Overflow), Local(7)}).Last()),
              "12 from 12 late");
    EXPECT_EQ(Text(After({Low(1), Local(5), Kind(PacketKind::Overflow), Low(900), Local(7)}).Last()),
              "12 from 12 late");
}

TEST(TraceClock, NorOneFromBeforeTheLoss) {
    EXPECT_EQ(
        Text(After({Low(1), High(0), Local(5), Low(2000), Kind(PacketKind::Overflow), Local(7)}).Last()),
        "12 from 12 late");
}

TEST(TraceClock, NorOneOfAClockAtAnotherRate) {
    const TraceClock clock = After({Low(0), High(0), Local(1000), Low(5000), Local(1000),
                                    Kind(PacketKind::Overflow), Low(20000), Local(1000)});
    EXPECT_EQ(Text(clock.Last()), "3000 from 3000 late");
    EXPECT_EQ(Text(After({Low(0), High(0), Local(1000), Low(1012), Local(1000), Kind(PacketKind::Overflow),
                          Low(20000), Local(1000)})
                       .Last()),
              "20988 from 20988 exact")
        << "12 cycles apart are no other rate";
}

TEST(TraceClock, AGlobalTimeThatRunsBackwardsTellsNothing) {
    EXPECT_EQ(
        Text(After({Low(5000), High(0), Local(10), Kind(PacketKind::Overflow), Low(4000), Local(7)}).Last()),
        "17 from 17 late");
    // Less than the local timestamps say.
    EXPECT_EQ(
        Text(After({Low(5000), High(0), Local(10), Kind(PacketKind::Overflow), Low(5001), Local(7)}).Last()),
        "17 from 17 late");
}

TEST(TraceClock, MergesTheLowOrderPartThatWasSent) {
    EXPECT_EQ(After({Low(0x2ABCDEF), High(2), Low(0x11, 1)}).GlobalTime(), (2U << 26) | 0x2ABCD91U);
    EXPECT_EQ(After({Low(0x2ABCDEF), High(2), Low(0x10, 1)}).GlobalTime(), (2U << 26) | 0x2ABCD90U);
    EXPECT_EQ(After({Low(0x2ABCDEF), High(2), Low(0x11, 2)}).GlobalTime(), (2U << 26) | 0x2ABC011U);
    EXPECT_EQ(After({Low(0x2ABCDEF), High(2), Low(0x11, 3)}).GlobalTime(), (2U << 26) | 0x2A00011U);
    EXPECT_EQ(After({Low(0x2ABCDEF), High(2), Low(0x11, 4)}).GlobalTime(), (2U << 26) | 0x11U);
}

TEST(TraceClock, KnowsTheGlobalTimeWhenAllOfItCame) {
    EXPECT_EQ(After({Low(7)}).GlobalTime(), std::nullopt);
    EXPECT_EQ(After({High(7)}).GlobalTime(), std::nullopt);
    EXPECT_EQ(After({High(1), Low(7, 3)}).GlobalTime(), std::nullopt);
    EXPECT_EQ(After({High(0x3FFFFFFFFF), Low(0x3FFFFFF)}).GlobalTime(), UINT64_MAX);
}

TEST(TraceClock, AfterAWrapItWaitsForTheUpperPart) {
    EXPECT_EQ(After({Low(7), High(1), Low(3, 4, kTimeWrapped)}).GlobalTime(), std::nullopt);
    EXPECT_EQ(After({Low(7), High(1), Low(3, 4, kTimeWrapped), High(2)}).GlobalTime(), (2U << 26) + 3U);
}

TEST(TraceClock, AChangeOfTheClockIsCountedAndEndsWhatIsComparable) {
    const TraceClock clock = After({Low(0), High(0), Local(1000), Low(1000, 4, kClockChanged),
                                    Kind(PacketKind::Overflow), Low(9000), Local(10)});
    EXPECT_EQ(clock.ClockChanges(), 1U);
    EXPECT_EQ(Text(clock.Last()), "1010 from 1010 late");
}

/// A clock for which the two times have agreed so many times: 1,000 ticks between two.
TraceClock Agreed(uint32_t times, uint32_t apart = 0, uint32_t prescale = 1) {
    TraceClock clock(prescale);
    clock.OnPacket(High(0));
    for (uint32_t i = 0; i <= times; ++i) {
        clock.OnPacket(Low(1'000'000 + i * (1000 + apart) * prescale));
        clock.OnPacket(Local(1000));
    }
    return clock;
}
/// What a global time of so many ticks, and a local one of 1,000, show to be missing.
uint64_t MissedAfter(TraceClock clock, uint32_t ticks, uint32_t prescale = 1) {
    clock.OnPacket(Low(static_cast<uint32_t>(*clock.GlobalTime()) + ticks * prescale));
    EXPECT_EQ(clock.Missed(), 0U);
    const uint64_t before = clock.Last().ticks;
    clock.OnPacket(Local(1000));
    EXPECT_EQ(clock.Last().ticks, before + 1000 + clock.Missed()) << "they are in the time";
    const uint64_t missed = clock.Missed();
    clock.OnPacket(Kind(PacketKind::Stimulus));
    EXPECT_EQ(clock.Missed(), 0U);
    return missed;
}

TEST(TraceClock, AGlobalTimeShowsTicksThatNothingElseToldOf) {
    EXPECT_EQ(MissedAfter(Agreed(4), 1500), 500U);
    EXPECT_EQ(MissedAfter(Agreed(4, 0, 16), 1500, 16), 500U);
    EXPECT_EQ(MissedAfter(Agreed(4), 1003), 3U);
}

TEST(TraceClock, TwoTicksApartAreNone) {
    EXPECT_EQ(MissedAfter(Agreed(4), 1002), 0U);
    EXPECT_EQ(MissedAfter(Agreed(4), 900), 0U) << "local timestamps do not become more";
}

TEST(TraceClock, TheTwoMustHaveAgreedFourTimes) { EXPECT_EQ(MissedAfter(Agreed(3), 1500), 0U); }

TEST(TraceClock, ClocksThatUsuallyDifferMustDifferMore) {
    EXPECT_EQ(MissedAfter(Agreed(4, 10), 1042), 0U);
    EXPECT_EQ(MissedAfter(Agreed(4, 10), 1043), 43U);
}

TEST(TraceClock, AfterAChangeOfTheClockTheTwoMustAgreeAnew) {
    TraceClock clock = Agreed(4);
    clock.OnPacket(Low(2'000'000, 4, kClockChanged));
    clock.OnPacket(Local(1000));
    EXPECT_EQ(MissedAfter(clock, 1500), 0U);
}

TEST(TraceClock, WhatALossThatWasToldHasTakenIsNotMissed) {
    TraceClock clock = Agreed(4);
    clock.OnPacket(Kind(PacketKind::Overflow));
    clock.OnPacket(Low(static_cast<uint32_t>(*clock.GlobalTime()) + 5000));
    clock.OnPacket(Local(1000));
    EXPECT_EQ(clock.Missed(), 0U);
    EXPECT_EQ(clock.TicksFound(), 4000U);
}

TEST(TraceClock, TurnsTicksIntoNanoseconds) {
    EXPECT_EQ(TraceClock(1).Nanoseconds(480, 480'000'000), 1000U);
    EXPECT_EQ(TraceClock(64).Nanoseconds(1, 3'000'000), 21333U);
    EXPECT_EQ(TraceClock(0).Nanoseconds(7, 1'000'000'000), 7U);
    EXPECT_EQ(TraceClock(4).Nanoseconds(uint64_t{1} << 40, 100'000'000), 43980465111040U);
    EXPECT_EQ(TraceClock(1).Nanoseconds(3, 1), 3'000'000'000U);
    EXPECT_EQ(TraceClock(1).Nanoseconds(UINT64_MAX / 2, UINT64_MAX), 500'000'000U);
}

TEST(TraceClock, QualitiesHaveTheNamesOfFiles) {
    EXPECT_EQ(QualityName(TimeQuality::Exact), "exact");
    EXPECT_EQ(QualityName(TimeQuality::Bounded), "bounded");
    EXPECT_EQ(QualityName(TimeQuality::Late), "late");
    EXPECT_EQ(QualityName(TimeQuality::None), "none");
}

struct TimedLog {
    void OnPacket(const Packet& packet, const PacketTime& time) {
        lines.push_back(std::to_string(packet.value) + ((packet.flags & kSuspect) != 0 ? "? " : " ") +
                        Text(time));
    }
    std::vector<std::string> lines;
};

Packet Write(uint32_t value) { return {0, value, 0, PacketKind::Stimulus, 1, 2, 0}; }

std::vector<std::string> Timed(const std::vector<Packet>& packets) {
    TimedLog log;
    PacketTimer<TimedLog> timer(log);
    for (const Packet& packet : packets) timer.OnPacket(packet);
    timer.Flush();
    return log.lines;
}

TEST(PacketTimer, GivesAllPacketsTheTimestampBehindThem) {
    EXPECT_THAT(Timed({Write(1), Write(2), Local(10), Write(3), Local(5), Write(4)}),
                ElementsAre("1 10 from 10 exact", "2 10 from 10 exact", "10 10 from 10 exact",
                            "3 15 from 15 exact", "5 15 from 15 exact", "4 15 from 15 bounded"));
}

TEST(PacketTimer, SuspectsWhatIsBetweenTheLastAnchorAndDamage) {
    const Packet damage = Kind(PacketKind::Malformed);
    EXPECT_THAT(
        Timed({Write(1), Local(10), Write(2), Write(3), damage, Write(4), Local(5)}),
        ElementsAre("1 10 from 10 exact", "10 10 from 10 exact", "2? 10 from 10 late", "3? 10 from 10 late",
                    "0 10 from 10 late", "4 15 from 15 late", "5 15 from 15 late"));
    for (const Packet& anchor : {Kind(PacketKind::Sync), Low(7), High(9)}) {
        const std::vector<std::string> lines = Timed({Write(1), anchor, Write(2), damage, damage});
        EXPECT_THAT(lines, testing::Contains("1 0 from 0 none"));
        EXPECT_THAT(lines, testing::Contains("2? 0 from 0 none"));
        EXPECT_EQ(lines.size(), 5U);
    }
}

TEST(PacketTimer, TheEndOfARecordingInsideAPacketIsNoDamage) {
    EXPECT_THAT(Timed({Local(1), Write(2), Kind(PacketKind::TruncatedEnd)}),
                ElementsAre("1 1 from 1 exact", "2 1 from 1 bounded", "0 1 from 1 bounded"));
}

TEST(PacketTimer, WithoutTimestampsItHoldsBackWhatMayBecomeSuspect) {
    TimedLog log;
    PacketTimer<TimedLog> timer(log);
    for (uint32_t i = 0; i < 100; ++i) timer.OnPacket(Write(i));
    EXPECT_EQ(log.lines.size(), 100 - PacketTimer<TimedLog>::kMostSuspect);
    timer.OnPacket(Kind(PacketKind::Reserved));
    ASSERT_EQ(log.lines.size(), 101U);
    EXPECT_EQ(log.lines[35], "35 0 from 0 none");
    EXPECT_EQ(log.lines[36], "36? 0 from 0 none");
    EXPECT_EQ(log.lines[99], "99? 0 from 0 none");
}

TEST(PacketTimer, WithTimestampsItWaitsForTheNextOneUpToALimit) {
    TimedLog log;
    PacketTimer<TimedLog> timer(log);
    timer.OnPacket(Local(3));
    for (uint32_t i = 0; i < 1030; ++i) timer.OnPacket(Write(i));
    EXPECT_EQ(log.lines.size(), 1 + 1030 - PacketTimer<TimedLog>::kMostHeld);
    EXPECT_EQ(log.lines[1], "0 3 from 3 bounded");
    timer.OnPacket(Kind(PacketKind::Reserved));
    EXPECT_EQ(log.lines[1031 - 64], "966? 3 from 3 late");
    EXPECT_EQ(log.lines[1030 - 64], "965 3 from 3 late");
    EXPECT_EQ(timer.Clock().Last().ticks, 3U);
}

struct TextLog {
    void Write(uint8_t port, const uint8_t* bytes, size_t count) {
        text[port].append(reinterpret_cast<const char*>(bytes), count);
    }
    std::map<int, std::string> text;
};

TEST(TextFilter, PassesTheBytesOfChosenPortsOnInTheirOrder) {
    TextLog log;
    Ports ports;
    ports.set(0).set(255);
    TextFilter<TextLog> filter(log, ports);
    filter.OnPacket({0, 0x64636261, 0, PacketKind::Stimulus, 4, 5, 0});
    filter.OnPacket({0, 0x6665, 0, PacketKind::Stimulus, 2, 3, 0});
    filter.OnPacket({0, 0x67, 0, PacketKind::Stimulus, 1, 2, 0});
    filter.OnPacket({0, 0x78, 1, PacketKind::Stimulus, 1, 2, 0});
    filter.OnPacket({0, 0x79, 255, PacketKind::Stimulus, 1, 2, 0});
    filter.OnPacket({0, 0x7A, 0, PacketKind::PcSample, 4, 5, 0});
    EXPECT_EQ(log.text, (std::map<int, std::string>{{0, "abcdefg"}, {255, "y"}}));
}

}  // namespace
}  // namespace Korr::Plim::Trace::Swo
