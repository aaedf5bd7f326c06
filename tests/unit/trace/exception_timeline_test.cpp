#include "trace/exception_timeline.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>

namespace {

using namespace Korr::Plim::Trace::Swo;
using Change = ExceptionTimeline::Change;

Packet Exception(uint16_t number, uint8_t function) {
    Packet packet{};
    packet.kind = PacketKind::Exception;
    packet.source = number;
    packet.flags = function;
    return packet;
}

Packet Of(PacketKind kind) {
    Packet packet{};
    packet.kind = kind;
    return packet;
}

/// What the packets change, one letter and a number each: B egin, E nd, I nferred, R esume, U nknown.
class Timeline {
  public:
    std::string Take(const Packet& packet) {
        std::string text;
        for (const auto& event : timeline.OnPacket(packet)) {
            text += "BEIRU"[static_cast<int>(event.change)] + std::to_string(event.number) + "@" +
                    std::to_string(event.depth) + " ";
        }
        return text;
    }
    std::string Enter(uint16_t number) { return Take(Exception(number, kEntered)); }
    std::string Exit(uint16_t number) { return Take(Exception(number, kExited)); }
    std::string Return(uint16_t number) { return Take(Exception(number, kReturned)); }

    ExceptionTimeline timeline;
};

TEST(ExceptionTimeline, NestedExceptionsEndInTheOrderOfTheirExits) {
    Timeline trace;
    EXPECT_EQ(trace.Enter(15), "B15@0 ");
    EXPECT_EQ(trace.Enter(44), "B44@1 ");
    EXPECT_EQ(trace.Exit(44), "E44@1 ");
    EXPECT_EQ(trace.Return(15), "");
    EXPECT_EQ(trace.Exit(15), "E15@0 ");
    EXPECT_EQ(trace.Return(0), "");
    EXPECT_TRUE(trace.timeline.Known());
}

TEST(ExceptionTimeline, TailChainingIsAnExitAndAnEntry) {
    Timeline trace;
    trace.Enter(20);
    EXPECT_EQ(trace.Exit(20), "E20@0 ");
    EXPECT_EQ(trace.Enter(21), "B21@0 ");
}

TEST(ExceptionTimeline, AReturnEndsWhatHasNoExit) {
    Timeline trace;
    trace.Enter(44);
    EXPECT_EQ(trace.Return(0), "I44@0 ");
    trace.Enter(15);
    trace.Enter(20);
    trace.Enter(21);
    EXPECT_EQ(trace.Return(15), "I21@2 I20@1 ");
    EXPECT_EQ(trace.timeline.Running(), std::vector<uint16_t>{15});
}

TEST(ExceptionTimeline, AnExitEndsWhatRanAboveIt) {
    Timeline trace;
    trace.Enter(15);
    trace.Enter(20);
    EXPECT_EQ(trace.Exit(15), "I20@1 E15@0 ");
}

TEST(ExceptionTimeline, ThreadModeIsNoException) {
    Timeline trace;
    trace.Enter(15);
    EXPECT_EQ(trace.Enter(0), "I15@0 ");
    EXPECT_EQ(trace.Exit(0), "");
    EXPECT_TRUE(trace.timeline.Running().empty());
}

TEST(ExceptionTimeline, AnExceptionThatIsEnteredAgainHadEnded) {
    Timeline trace;
    trace.Enter(15);
    trace.Enter(20);
    EXPECT_EQ(trace.Enter(15), "I20@1 I15@0 B15@0 ");
}

TEST(ExceptionTimeline, AnExitWithoutAnEntryChangesNothing) {
    Timeline trace;
    trace.Enter(15);
    EXPECT_EQ(trace.Exit(20), "");
    EXPECT_EQ(trace.timeline.Running(), std::vector<uint16_t>{15});
}

TEST(ExceptionTimeline, AReturnToWhatWasNotSeenTellsThatItRuns) {
    Timeline trace;
    trace.Enter(20);
    EXPECT_EQ(trace.Return(15), "I20@0 R15@0 ");
    EXPECT_EQ(trace.Exit(15), "E15@0 ");
}

TEST(ExceptionTimeline, AfterLossNothingIsKnownUntilThreadModeIsReached) {
    for (const PacketKind loss : {PacketKind::Overflow, PacketKind::Malformed, PacketKind::Reserved,
                                  PacketKind::Unsynchronised, PacketKind::TruncatedEnd}) {
        Timeline trace;
        trace.Enter(15);
        EXPECT_EQ(trace.Take(Of(loss)), "U0@0 ");
        EXPECT_FALSE(trace.timeline.Known());
        EXPECT_EQ(trace.Take(Of(loss)), "") << "it is unknown already";
        EXPECT_EQ(trace.Enter(20), "B20@0 ");
        EXPECT_EQ(trace.Exit(20), "E20@0 ");
        EXPECT_FALSE(trace.timeline.Known());
        EXPECT_EQ(trace.Return(0), "");
        EXPECT_TRUE(trace.timeline.Known());
    }
}

TEST(ExceptionTimeline, LossInThreadModeIsToldToo) {
    Timeline trace;
    EXPECT_EQ(trace.Take(Of(PacketKind::Overflow)), "U0@0 ") << "thread mode was known";
    EXPECT_FALSE(trace.timeline.Known());
    EXPECT_EQ(trace.Take(Of(PacketKind::Overflow)), "");
    trace.Enter(20);
    EXPECT_EQ(trace.Take(Of(PacketKind::Overflow)), "U0@0 ") << "20 ran, if nothing else is known";
    EXPECT_TRUE(trace.timeline.Running().empty());
}

TEST(ExceptionTimeline, OtherPacketsChangeNothing) {
    Timeline trace;
    trace.Enter(15);
    for (int kind = 0; kind < kPacketKinds; ++kind) {
        const auto which = static_cast<PacketKind>(kind);
        if (which == PacketKind::Exception || which == PacketKind::Overflow || IsDamage(which)) continue;
        EXPECT_EQ(trace.Take(Of(which)), "") << kind;
    }
    EXPECT_EQ(trace.timeline.Running(), std::vector<uint16_t>{15});
}

TEST(ExceptionTimeline, AnyPacketsGiveBeginsAndEndsThatFit) {
    std::mt19937 chance(3);
    ExceptionTimeline timeline;
    std::vector<uint16_t> open;
    for (int round = 0; round < 200000; ++round) {
        const Packet packet = chance() % 40 == 0 ? Of(PacketKind::Overflow)
                                                 : Exception(static_cast<uint16_t>(chance() % 12),
                                                             static_cast<uint8_t>(1 + chance() % 3));
        for (const auto& event : timeline.OnPacket(packet)) {
            switch (event.change) {
                case Change::Begin:
                case Change::Resume:
                    ASSERT_EQ(event.depth, open.size());
                    open.push_back(event.number);
                    break;
                case Change::End:
                case Change::Inferred:
                    ASSERT_FALSE(open.empty());
                    ASSERT_EQ(event.number, open.back());
                    open.pop_back();
                    ASSERT_EQ(event.depth, open.size());
                    break;
                case Change::Unknown:
                    open.clear();
                    break;
            }
        }
        ASSERT_EQ(timeline.Running(), open);
        ASSERT_EQ(std::set<uint16_t>(open.begin(), open.end()).size(), open.size());
    }
}

}  // namespace
