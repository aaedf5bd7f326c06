// What is told of lost trace, letter for letter.
#include "tracehost/loss_text.h"

#include <gtest/gtest.h>

namespace Korr::Plim::Trace::Tracehost {

namespace {

using Swo::LedgerEntry;
using Swo::LossKind;

/// An entry of 9 bytes at 1,000.
LedgerEntry Entry(LossKind kind) {
    LedgerEntry entry;
    entry.kind = kind;
    entry.offset = 1000;
    entry.length = 9;
    return entry;
}

std::string Text(LossKind kind, uint32_t count = 1) {
    LedgerEntry entry = Entry(kind);
    entry.count = count;
    return DescribeLoss(entry);
}

std::string Malformed(Swo::MalformedReason reason) {
    LedgerEntry entry = Entry(LossKind::Malformed);
    entry.reason = static_cast<uint8_t>(reason);
    return DescribeLoss(entry);
}

std::string Missing(LossKind kind, uint64_t missing) {
    LedgerEntry entry = Entry(kind);
    entry.missing = missing;
    entry.source = 3;
    return DescribeLoss(entry);
}

TEST(LossText, OfTheTarget) {
    EXPECT_EQ(Text(LossKind::ItmOverflow), "the target dropped packets (overflow)");
    EXPECT_EQ(Text(LossKind::ItmOverflow, 1234), "the target dropped packets 1,234 times (overflow)");
    EXPECT_EQ(Text(LossKind::TimestampOverflow),
              "the timestamp counter overflowed: no packet for 2,097,152 ticks");
    EXPECT_EQ(Text(LossKind::Delayed), "hint: 1 timestamp or packet delayed in the target");
    EXPECT_EQ(Text(LossKind::Delayed, 2), "hint: 2 timestamps or packets delayed in the target");
}

TEST(LossText, OfDamage) {
    using Swo::MalformedReason;
    const std::string end = "; in step again at 1,009";
    EXPECT_EQ(Malformed(MalformedReason::Continuation),
              "bytes missing or changed: a packet does not end" + end);
    EXPECT_EQ(Malformed(MalformedReason::ZerosWithoutOne),
              "bytes missing or changed: zeros that are no synchronisation" + end);
    EXPECT_EQ(Malformed(MalformedReason::ExceptionFunction),
              "bytes missing or changed: an exception packet that says nothing" + end);
    EXPECT_EQ(Malformed(MalformedReason::PcByte), "bytes missing or changed: a PC sample that is none" + end);
    EXPECT_EQ(Malformed(MalformedReason::OutOfStep), "bytes missing" + end);
    EXPECT_EQ(Malformed(MalformedReason::BytesMissing), "bytes missing" + end);
    EXPECT_EQ(Text(LossKind::Reserved), "bytes missing or changed: a header without a meaning" + end);
    EXPECT_EQ(Text(LossKind::Unsynchronised), "no packets" + end);
}

TEST(LossText, NamesSuspects) {
    LedgerEntry entry = Entry(LossKind::Reserved);
    entry.suspects = 1;
    entry.suspectFrom = 998;
    EXPECT_EQ(DescribeLoss(entry),
              "bytes missing or changed: a header without a meaning; 1 packet before it (from 998) is "
              "suspect; in step again at 1,009");
    entry.suspects = 2;
    EXPECT_EQ(DescribeLoss(entry),
              "bytes missing or changed: a header without a meaning; 2 packets before it (from 998) are "
              "suspect; in step again at 1,009");
}

TEST(LossText, OfFramesHintsAndEdges) {
    LedgerEntry step = Entry(LossKind::FrameStep);
    step.source = 7;
    EXPECT_EQ(DescribeLoss(step), "bytes missing: frames out of step; in step again at 1,009 (phase +7)");
    EXPECT_EQ(Text(LossKind::OrderHint), "hint: an order of packets never seen before; bytes missing?");
    EXPECT_EQ(Text(LossKind::KindHint), "hint: a kind of packet never seen before; bytes missing?");
    LedgerEntry entry = Entry(LossKind::ExitHint);
    entry.source = 15;
    EXPECT_EQ(DescribeLoss(entry), "hint: exception 15 is left and was never entered; bytes missing?");
    entry = Entry(LossKind::TimeHint);
    entry.source = 1;
    EXPECT_EQ(DescribeLoss(entry), "hint: the upper bits of the global time come in 1 byte, not in 4 or 6");
    entry.source = 5;
    EXPECT_EQ(DescribeLoss(entry), "hint: the upper bits of the global time come in 5 bytes, not in 4 or 6");
    EXPECT_EQ(Text(LossKind::TruncatedEnd), "the recording ends inside a packet");
    EXPECT_EQ(Text(LossKind::StartMidPacket), "start inside a packet");
}

TEST(LossText, OfTheHost) {
    EXPECT_EQ(Text(LossKind::DriverOverrun), "the port's hardware lost bytes 1 time");
    EXPECT_EQ(Text(LossKind::DriverBufferOverrun, 2), "the driver's buffer was full 2 times");
    EXPECT_EQ(Text(LossKind::Framing, 1), "1 byte without a stop bit");
    EXPECT_EQ(Text(LossKind::Parity, 2), "2 parity errors");
    EXPECT_EQ(Text(LossKind::Break, 3), "3 breaks on the line");
    EXPECT_EQ(Text(LossKind::PortLost), "the port was lost");
    EXPECT_EQ(Text(LossKind::ReaderStopped), "the receiver stopped reading");
}

TEST(LossText, OfGaps) {
    EXPECT_EQ(Missing(LossKind::CounterGap, 1), "port 3 counts on after 1 missing value");
    EXPECT_EQ(Missing(LossKind::CounterGap, 0x7FFFFFFF),
              "port 3 counts on after 2,147,483,647 missing values");
    EXPECT_EQ(Missing(LossKind::CounterGap, 0x80000000), "port 3 counts from another value on");
    LedgerEntry dropped = Entry(LossKind::CounterGap);
    dropped.missing = 2;
    dropped.lossClass = Swo::LossClass::Target;
    EXPECT_EQ(DescribeLoss(dropped),
              "port 0 counts on after 2 missing values, which the target dropped (overflow)");
    EXPECT_EQ(Missing(LossKind::PeriodGap, 2), "hint: 2 periodic packets missing?");
    EXPECT_EQ(Missing(LossKind::GlobalGap, 1), "the local timestamps miss 1 tick of the global time");
    EXPECT_EQ(Missing(LossKind::ArrivalGap, 1500), "hint: a busy line was silent for 1,500 ms");
}

TEST(LossText, InOneSentence) {
    Swo::LedgerTotals totals;
    totals.hints = 5;
    EXPECT_EQ(SummariseLosses(totals), "nothing");
    totals.lostOnTheWay = 1;
    EXPECT_EQ(SummariseLosses(totals), "1 place (1 between pin and file)");
    totals.lostOnTheWay = 0;
    totals.lostInTarget = 2;
    EXPECT_EQ(SummariseLosses(totals), "2 places (2 in the target)");
    totals.lostOnTheWay = 1000;
    totals.damagedBytes = 1;
    EXPECT_EQ(SummariseLosses(totals),
              "1,002 places (1,000 between pin and file, 2 in the target): 1 byte damaged");
    totals.suspectPackets = 2;
    totals.missing = 3;
    totals.salvagedBytes = 4;
    EXPECT_EQ(SummariseLosses(totals),
              "1,002 places (1,000 between pin and file, 2 in the target): 1 byte damaged, 2 packets "
              "suspect, 3 counted values missing, 4 bytes salvaged without a sync mark");
}

TEST(LossText, WhileRecording) {
    Swo::LedgerTotals totals;
    EXPECT_EQ(LiveLosses(totals), "lost: 0 overflows, 0 damaged");
    totals.places[static_cast<std::size_t>(LossKind::ItmOverflow)] = 1;
    totals.lostOnTheWay = 1000;
    EXPECT_EQ(LiveLosses(totals), "lost: 1 overflow, 1,000 damaged");
    totals.places[static_cast<std::size_t>(LossKind::TimestampOverflow)] = 2;
    totals.missing = 1234;
    EXPECT_EQ(LiveLosses(totals), "lost: 3 overflows, 1,000 damaged, 1,234 missing");
}

TEST(LossText, AsJson) {
    LedgerEntry entry = Entry(LossKind::Reserved);
    entry.ticks = 96;
    entry.timeQuality = Swo::TimeQuality::Late;
    entry.suspects = 2;
    entry.suspectFrom = 990;
    entry.byteCount = 2;
    entry.bytes[0] = 0x04;
    entry.bytes[1] = 0xFA;
    EXPECT_EQ(
        LossAsJson(entry, {48'000'000, 1}),
        R"({"offset":1000,"length":9,"class":"line","kind":"reserved","severity":"loss","count":1,)"
        R"("ticks":96,"ns":2000,"quality":"late","suspects":2,"suspect_from":990,"bytes":"04fa",)"
        R"("what":"bytes missing or changed: a header without a meaning; 2 packets before it (from 990) )"
        R"(are suspect; in step again at 1,009"})"
        "\n");
    LedgerEntry gap = Entry(LossKind::CounterGap);
    gap.lossClass = Swo::LossClass::Gap;
    gap.source = 3;
    gap.missing = 7;
    gap.missingKnown = true;
    gap.ticks = 96;
    gap.timeQuality = Swo::TimeQuality::Exact;
    EXPECT_EQ(LossAsJson(gap, {}),
              R"({"offset":1000,"length":9,"class":"gap","kind":"counter-gap","severity":"loss","count":1,)"
              R"("ticks":96,"quality":"exact","source":3,"missing":7,"bytes":"",)"
              R"("what":"port 3 counts on after 7 missing values"})"
              "\n");
    LedgerEntry edge = Entry(LossKind::StartMidPacket);
    edge.lossClass = Swo::LossClass::Edge;
    EXPECT_EQ(LossAsJson(edge, {48'000'000, 1}),
              R"({"offset":1000,"length":9,"class":"edge","kind":"start-mid-packet","severity":"edge",)"
              R"("count":1,"quality":"none","bytes":"","what":"start inside a packet"})"
              "\n");
    LedgerEntry hint = Entry(LossKind::OrderHint);
    hint.hint = true;
    EXPECT_NE(LossAsJson(hint, {}).find(R"("severity":"hint")"), std::string::npos);
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
