#include "trace/ledger.h"

#include <gtest/gtest.h>

#include "tests/unit/trace/packet_at.h"

namespace Korr::Plim::Trace::Swo {

namespace {

class LedgerOf {
  public:
    explicit LedgerOf(std::vector<Packet> packets, const Ledger::Options& options = {}) : ledger(options) {
        if (packets.front().offset > 0) ledger.OnPacket(PacketAt(0, PacketKind::Stimulus, 50), kTime);
        for (const Packet& packet : packets) ledger.OnPacket(packet, kTime);
        ledger.Finish();
    }
    const LedgerEntry& operator[](size_t i) const { return ledger.Entries().at(i); }
    size_t Size() const { return ledger.Entries().size(); }
    const LedgerTotals& Totals() const { return ledger.Totals(); }

    Ledger ledger;
};

TEST(Ledger, WholePacketsAreNoLoss) {
    const LedgerOf ledger(
        {PacketAt(0, kText), PacketAt(2, PacketKind::Sync, 6), PacketAt(8, PacketKind::LocalTime),
         PacketAt(10, PacketKind::Exception, 3, kReturned), PacketAt(13, PacketKind::DataValue, 2, kWrite)});
    EXPECT_EQ(ledger.Size(), 0u);
    EXPECT_EQ(ledger.Totals().lostOnTheWay + ledger.Totals().lostInTarget + ledger.Totals().hints, 0u);
}

TEST(Ledger, DamageThatTouchesIsOnePlaceWithItsSuspects) {
    const LedgerOf ledger({PacketAt(100, kText), PacketAt(102, kText, 2, kSuspect),
                           PacketAt(104, kText, 2, kSuspect), PacketAt(106, PacketKind::Reserved, 1),
                           PacketAt(107, PacketKind::Unsynchronised, 9), PacketAt(116, kText, 5, kSalvaged),
                           PacketAt(121, kText)});
    ASSERT_EQ(ledger.Size(), 1u);
    EXPECT_EQ(ledger[0].kind, LossKind::Reserved);
    EXPECT_EQ(ledger[0].lossClass, LossClass::Line);
    EXPECT_EQ(ledger[0].offset, 106u);
    EXPECT_EQ(ledger[0].length, 10u);
    EXPECT_EQ(ledger[0].suspects, 2u);
    EXPECT_EQ(ledger[0].suspectFrom, 102u);
    EXPECT_EQ(ledger[0].ticks, 77u);
    EXPECT_EQ(ledger[0].timeQuality, TimeQuality::Exact);
    EXPECT_EQ(ledger.Totals().lostOnTheWay, 1u);
    EXPECT_EQ(ledger.Totals().damagedBytes, 10u);
    EXPECT_EQ(ledger.Totals().suspectPackets, 2u);
    EXPECT_EQ(ledger.Totals().salvagedBytes, 5u);
}

TEST(Ledger, DamageApartIsTwoPlacesAndSuspectsBelongToTheNearest) {
    const LedgerOf ledger({PacketAt(98, kText), PacketAt(100, kText, 2, kSuspect),
                           PacketAt(102, PacketKind::Malformed, 2), PacketAt(104, kText),
                           PacketAt(106, PacketKind::Malformed, 3), PacketAt(109, kText)});
    ASSERT_EQ(ledger.Size(), 2u);
    EXPECT_EQ(ledger[0].suspects, 1u);
    EXPECT_EQ(ledger[1].suspects, 0u);
    EXPECT_EQ(ledger.Totals().Of(LossKind::Malformed), 2u);
}

TEST(Ledger, DamageDirectlyBehindSomethingElseIsAPlaceOfItsOwn) {
    const LedgerOf ledger({PacketAt(100, PacketKind::Overflow, 1), PacketAt(101, PacketKind::Malformed, 2),
                           PacketAt(103, kText)});
    ASSERT_EQ(ledger.Size(), 2u);
    EXPECT_EQ(ledger[0].length, 1u);
    EXPECT_EQ(ledger[1].kind, LossKind::Malformed);
    EXPECT_EQ(ledger[1].length, 2u);
}

TEST(Ledger, SuspectsBelongToOneDamageAlone) {
    const LedgerOf ledger({PacketAt(98, kText), PacketAt(100, kText, 2, kSuspect),
                           PacketAt(102, PacketKind::Malformed, 2), PacketAt(104, kText, 2, kSuspect),
                           PacketAt(106, PacketKind::Malformed, 3), PacketAt(109, kText)});
    ASSERT_EQ(ledger.Size(), 2u);
    EXPECT_EQ(ledger[0].suspects, 1u);
    EXPECT_EQ(ledger[1].suspects, 1u);
    EXPECT_EQ(ledger[1].suspectFrom, 104u);
}

TEST(Ledger, SaysWhyBytesAreMalformed) {
    Packet malformed = PacketAt(100, PacketKind::Malformed);
    malformed.source = static_cast<uint16_t>(MalformedReason::PcByte);
    EXPECT_EQ(LedgerOf({malformed})[0].reason, static_cast<uint8_t>(MalformedReason::PcByte));
    Packet reserved = PacketAt(100, PacketKind::Reserved, 1);
    reserved.source = 3;
    EXPECT_EQ(LedgerOf({reserved})[0].reason, 0u);
}

TEST(Ledger, BeginningAndEndInsideAPacketAreNoLoss) {
    const LedgerOf ledger({PacketAt(0, PacketKind::Malformed, 4), PacketAt(4, PacketKind::Unsynchronised, 3),
                           PacketAt(7, kText), PacketAt(9, PacketKind::TruncatedEnd, 2)});
    ASSERT_EQ(ledger.Size(), 2u);
    EXPECT_EQ(ledger[0].kind, LossKind::StartMidPacket);
    EXPECT_EQ(ledger[0].lossClass, LossClass::Edge);
    EXPECT_EQ(ledger[1].kind, LossKind::TruncatedEnd);
    EXPECT_EQ(ledger[1].lossClass, LossClass::Edge);
    EXPECT_EQ(ledger.Totals().lostOnTheWay, 0u);
}

TEST(Ledger, DamageAtTheBeginningThatGoesOnIsLoss) {
    const LedgerOf ledger(
        {PacketAt(0, PacketKind::Malformed, 4), PacketAt(4, PacketKind::Unsynchronised, 30)});
    ASSERT_EQ(ledger.Size(), 1u);
    EXPECT_EQ(ledger[0].kind, LossKind::Unsynchronised);
    EXPECT_EQ(ledger[0].length, 34u);
    EXPECT_EQ(ledger.Totals().lostOnTheWay, 1u);
    EXPECT_EQ(ledger.Totals().Of(LossKind::StartMidPacket), 0u);
}

TEST(Ledger, WhatComesBeforeTheFirstSyncIsNotMissedWhenItWasNotWanted) {
    const std::vector<Packet> packets = {PacketAt(0, PacketKind::Unsynchronised, 3000),
                                         PacketAt(3000, kText)};
    EXPECT_EQ(LedgerOf(packets).Totals().lostOnTheWay, 1u);
    EXPECT_EQ(LedgerOf(packets, {std::nullopt, true}).Totals().lostOnTheWay, 0u);
}

TEST(Ledger, WhatComesBeforeTheFirstSyncIsNotMissedWhereverItBegins) {
    Ledger ledger({std::nullopt, true});
    // As of a stream in frames, whose first byte is not the capture's, and which takes two runs to give up.
    for (const Packet& packet :
         {PacketAt(3, PacketKind::Unsynchronised, 3000), PacketAt(3003, PacketKind::Unsynchronised, 40),
          PacketAt(3043, PacketKind::Sync, 6), PacketAt(3049, kText)}) {
        ledger.OnPacket(packet, kTime);
    }
    EXPECT_EQ(ledger.Totals().lostOnTheWay, 0u);
    ASSERT_EQ(ledger.Entries().size(), 1u);
    EXPECT_EQ(ledger.Entries()[0].kind, LossKind::StartMidPacket);
    EXPECT_EQ(ledger.Entries()[0].length, 3040u);
    ledger.OnPacket(PacketAt(3051, PacketKind::Reserved, 1), kTime);
    EXPECT_EQ(ledger.Totals().lostOnTheWay, 1u) << "from then on damage is a loss";
}

TEST(Ledger, OverflowsAreTheTargetsAndABurstIsOneEntry) {
    const LedgerOf ledger({PacketAt(100, PacketKind::Overflow, 1), PacketAt(101, kText),
                           PacketAt(140, PacketKind::Overflow, 1), PacketAt(141, kText),
                           PacketAt(300, PacketKind::Overflow, 1)});
    ASSERT_EQ(ledger.Size(), 2u);
    EXPECT_EQ(ledger[0].count, 2u);
    EXPECT_EQ(ledger[0].length, 41u);
    EXPECT_EQ(ledger[0].lossClass, LossClass::Target);
    EXPECT_EQ(ledger[1].count, 1u);
    EXPECT_EQ(ledger.Totals().lostInTarget, 3u);
    EXPECT_EQ(ledger.Totals().lostOnTheWay, 0u);
    EXPECT_EQ(ledger.Totals().Of(LossKind::ItmOverflow), 3u);
}

TEST(Ledger, AnOverflowBehindALongSilenceIsTheTimestampCounters) {
    Packet silence = PacketAt(100, PacketKind::LocalTime, 4);
    silence.value = 1U << 21;
    EXPECT_EQ(LedgerOf({silence, PacketAt(104, PacketKind::Overflow, 1)})[0].kind,
              LossKind::TimestampOverflow);
    silence.value -= 1;
    EXPECT_EQ(LedgerOf({silence, PacketAt(104, PacketKind::Overflow, 1)})[0].kind, LossKind::ItmOverflow);
    silence.value += 1;
    EXPECT_EQ(LedgerOf({silence, PacketAt(104, kText), PacketAt(106, PacketKind::Overflow, 1)})[0].kind,
              LossKind::ItmOverflow);
}

TEST(Ledger, HintsAndDelaysAreNoLoss) {
    const LedgerOf ledger({PacketAt(100, kText, 2, kOrderHint), PacketAt(102, kText, 2, kKindHint),
                           PacketAt(104, PacketKind::LocalTime, 2, kTimestampDelayed),
                           PacketAt(106, PacketKind::LocalTime, 2, kPacketDelayed)});
    ASSERT_EQ(ledger.Size(), 3u);
    EXPECT_EQ(ledger[0].kind, LossKind::OrderHint);
    EXPECT_EQ(ledger[1].kind, LossKind::KindHint);
    EXPECT_EQ(ledger[2].kind, LossKind::Delayed);
    EXPECT_EQ(ledger[2].count, 2u);
    EXPECT_EQ(ledger[2].ticks, 77u);
    EXPECT_EQ(ledger[2].timeQuality, TimeQuality::Exact);
    EXPECT_EQ(ledger[2].offset, 104u);
    EXPECT_EQ(ledger[2].length, 4u);
    EXPECT_EQ(ledger.Totals().hints, 4u);
    EXPECT_EQ(ledger.Totals().lostOnTheWay + ledger.Totals().lostInTarget, 0u);
}

Packet ExceptionAt(uint64_t offset, uint16_t number, uint8_t function, uint8_t flags = 0) {
    Packet packet = PacketAt(offset, PacketKind::Exception, 3, static_cast<uint8_t>(function | flags));
    packet.source = number;
    return packet;
}

TEST(Ledger, AnExitOfAnExceptionThatNeverEnteredIsAHint) {
    const LedgerOf ledger({ExceptionAt(100, 15, kExited),  // the recording began inside it
                           ExceptionAt(103, 0, kReturned), ExceptionAt(106, 15, kEntered),
                           ExceptionAt(109, 40, kEntered), ExceptionAt(112, 40, kExited),
                           ExceptionAt(115, 15, kExited), ExceptionAt(118, 15, kExited),
                           ExceptionAt(121, 300, kExited), ExceptionAt(124, 0, kReturned)});
    ASSERT_EQ(ledger.Size(), 2u);
    EXPECT_EQ(ledger[0].kind, LossKind::ExitHint);
    EXPECT_EQ(ledger[0].lossClass, LossClass::Line);
    EXPECT_EQ(ledger[0].offset, 118u);
    EXPECT_EQ(ledger[0].length, 0u);
    EXPECT_EQ(ledger[0].source, 15u);
    EXPECT_TRUE(ledger[0].hint);
    EXPECT_EQ(ledger[0].ticks, 77u);
    EXPECT_EQ(ledger[1].offset, 121u);
    EXPECT_EQ(ledger[1].source, 300u);
    EXPECT_EQ(ledger.Totals().hints, 2u);
    EXPECT_EQ(ledger.Totals().lostOnTheWay + ledger.Totals().lostInTarget, 0u);
}

TEST(Ledger, AnExitWhoseEntryMayHaveBeenLostIsNoHint) {
    const LedgerOf ledger({ExceptionAt(100, 0, kReturned), PacketAt(103, PacketKind::Overflow, 1),
                           ExceptionAt(104, 15, kExited), ExceptionAt(107, 0, kReturned),
                           PacketAt(110, PacketKind::Reserved, 1), ExceptionAt(111, 15, kExited),
                           ExceptionAt(114, 0, kReturned), ExceptionAt(117, 16, kReturned),
                           ExceptionAt(120, 16, kExited), ExceptionAt(123, 17, kExited, kSuspect)});
    EXPECT_EQ(ledger.Totals().Of(LossKind::ExitHint), 0u);
    EXPECT_EQ(ledger.Totals().hints, 0u);
}

TEST(Ledger, UpperGlobalTimeOfAnotherLengthIsAHint) {
    std::vector<Packet> packets;
    for (uint8_t size = 1; size <= 6; ++size) {
        Packet packet = PacketAt(100 + 10 * size, PacketKind::GlobalTimeHigh, size + 1U);
        packet.size = size;
        packets.push_back(packet);
    }
    const LedgerOf ledger(packets);
    ASSERT_EQ(ledger.Size(), 4u);
    const std::array<uint16_t, 4> sizes = {1, 2, 3, 5};
    for (size_t i = 0; i < sizes.size(); ++i) {
        EXPECT_EQ(ledger[i].kind, LossKind::TimeHint);
        EXPECT_EQ(ledger[i].lossClass, LossClass::Line);
        EXPECT_EQ(ledger[i].source, sizes[i]);
        EXPECT_EQ(ledger[i].offset, 100u + 10u * sizes[i]);
        EXPECT_TRUE(ledger[i].hint);
    }
    EXPECT_EQ(ledger.Totals().hints, 4u);
    EXPECT_EQ(ledger.Totals().lostOnTheWay, 0u);
}

TEST(Ledger, WhatTheHostKnowsStandsWhereItWasNoticed) {
    LedgerOf ledger({PacketAt(100, PacketKind::Reserved, 1), PacketAt(900, PacketKind::Reserved, 1)});
    ledger.ledger.OnHost(LossKind::DriverOverrun, 2, 500);
    ledger.ledger.OnSilences({});
    ASSERT_EQ(ledger.Size(), 3u);
    EXPECT_EQ(ledger[1].kind, LossKind::DriverOverrun);
    EXPECT_EQ(ledger[1].offset, 500u);
    EXPECT_EQ(ledger[1].count, 2u);
}

TEST(Ledger, AnOverflowIsNoHint) {
    const LedgerOf ledger({PacketAt(100, PacketKind::Overflow, 1, kKindHint)});
    ASSERT_EQ(ledger.Size(), 1u);
    EXPECT_EQ(ledger[0].kind, LossKind::ItmOverflow);
    EXPECT_EQ(ledger.Totals().hints, 0u);
}

std::vector<Packet> Counting(const std::vector<uint32_t>& values, uint16_t port = 5) {
    std::vector<Packet> packets;
    for (const uint32_t value : values) {
        Packet packet = PacketAt(10 * packets.size(), kText, 5);
        packet.source = port;
        packet.size = 4;
        packet.value = value;
        packets.push_back(packet);
    }
    return packets;
}

TEST(Ledger, AGapOfTheCounterPortIsLossOnTheWay) {
    const LedgerOf ledger(Counting({1, 2, 6, 7}), {uint8_t{5}, false});
    ASSERT_EQ(ledger.Size(), 1u);
    EXPECT_EQ(ledger[0].kind, LossKind::CounterGap);
    EXPECT_EQ(ledger[0].lossClass, LossClass::Gap);
    EXPECT_EQ(ledger[0].offset, 20u);
    EXPECT_EQ(ledger[0].missing, 3u);
    EXPECT_EQ(ledger[0].source, 5u);
    EXPECT_EQ(ledger.Totals().lostOnTheWay, 1u);
    EXPECT_EQ(ledger.Totals().missing, 3u);
}

TEST(Ledger, OtherPortsAndNoCounterPortCountNothing) {
    EXPECT_EQ(LedgerOf(Counting({1, 2, 6, 7}, 4), {uint8_t{5}, false}).Size(), 0u);
    EXPECT_EQ(LedgerOf(Counting({1, 2, 6, 7})).Size(), 0u);
}

TEST(Ledger, AGapBesideAnOverflowIsTheTargets) {
    std::vector<Packet> packets = Counting({1, 2, 6, 7});
    packets.insert(packets.begin() + 2, PacketAt(16, PacketKind::Overflow, 1));
    const LedgerOf ledger(packets, {uint8_t{5}, false});
    ASSERT_EQ(ledger.Size(), 2u);
    EXPECT_EQ(ledger[1].kind, LossKind::CounterGap);
    EXPECT_EQ(ledger[1].lossClass, LossClass::Target);
    EXPECT_EQ(ledger.Totals().lostOnTheWay, 0u);
    EXPECT_EQ(ledger.Totals().lostInTarget, 2u);
}

TEST(Ledger, AGapFarFromAnOverflowIsNot) {
    std::vector<Packet> packets = Counting({1, 2, 3, 7, 8, 9});
    packets.insert(packets.begin() + 1, PacketAt(6, PacketKind::Overflow, 1));
    packets.push_back(PacketAt(70, PacketKind::Overflow, 1));
    const LedgerOf ledger(packets, {uint8_t{5}, false});
    EXPECT_EQ(ledger.Totals().lostOnTheWay, 1u);
    EXPECT_EQ(ledger.Totals().lostInTarget, 2u);
}

TEST(Ledger, FramesOutOfStepAndHostCountersAreLossOnTheWay) {
    Ledger ledger({});
    ledger.OnFrameStep(1000, 1040, 3);
    ledger.OnHost(LossKind::Framing, 7, 2000);
    ledger.OnHost(LossKind::Parity, 0, 2000);
    ledger.Finish();
    ASSERT_EQ(ledger.Entries().size(), 2u);
    EXPECT_EQ(ledger.Entries()[0].length, 40u);
    EXPECT_EQ(ledger.Entries()[0].source, 3u);
    EXPECT_EQ(ledger.Entries()[1].lossClass, LossClass::Host);
    EXPECT_EQ(ledger.Totals().lostOnTheWay, 8u);
}

TEST(Ledger, SilencesAreHintsInTheirPlaces) {
    Ledger ledger({});
    ledger.OnPacket(PacketAt(0, kText), kTime);
    ledger.OnPacket(PacketAt(500, PacketKind::Overflow, 1), kTime);
    ledger.OnPacket(PacketAt(501, kText), kTime);
    ledger.Finish();
    const std::vector<Silence> silences = {{100, 300}, {900, 70}};
    ledger.OnSilences(silences);
    ASSERT_EQ(ledger.Entries().size(), 3u);
    EXPECT_EQ(ledger.Entries()[0].kind, LossKind::ArrivalGap);
    EXPECT_EQ(ledger.Entries()[0].lossClass, LossClass::Gap);
    EXPECT_EQ(ledger.Entries()[0].offset, 100u);
    EXPECT_EQ(ledger.Entries()[0].missing, 300u);
    EXPECT_TRUE(ledger.Entries()[0].missingKnown);
    EXPECT_EQ(ledger.Entries()[1].kind, LossKind::ItmOverflow);
    EXPECT_EQ(ledger.Entries()[2].offset, 900u);
    EXPECT_EQ(ledger.Totals().hints, 2u);
    EXPECT_EQ(ledger.Totals().lostOnTheWay, 0u);
}

TEST(Ledger, NamesAreThoseOfTheContract) {
    const std::vector<std::string_view> names = {"itm-overflow",
                                                 "timestamp-overflow",
                                                 "delayed",
                                                 "malformed",
                                                 "reserved",
                                                 "unsynchronised",
                                                 "frame-step",
                                                 "order-hint",
                                                 "kind-hint",
                                                 "exit-hint",
                                                 "time-hint",
                                                 "truncated-end",
                                                 "start-mid-packet",
                                                 "driver-overrun",
                                                 "driver-buffer-overrun",
                                                 "framing",
                                                 "parity",
                                                 "break",
                                                 "port-lost",
                                                 "reader-stopped",
                                                 "counter-gap",
                                                 "period-gap",
                                                 "global-gap",
                                                 "arrival-gap"};
    ASSERT_EQ(names.size(), static_cast<size_t>(kLossKinds));
    for (size_t i = 0; i < names.size(); ++i) EXPECT_EQ(LossKindName(static_cast<LossKind>(i)), names[i]);
    EXPECT_EQ(LossClassName(LossClass::Target), "target");
    EXPECT_EQ(LossClassName(LossClass::Line), "line");
    EXPECT_EQ(LossClassName(LossClass::Host), "host");
    EXPECT_EQ(LossClassName(LossClass::Gap), "gap");
    EXPECT_EQ(LossClassName(LossClass::Edge), "edge");
}

}  // namespace

}  // namespace Korr::Plim::Trace::Swo
