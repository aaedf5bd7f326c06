#include "simulator/swosource/signal/probe_buffer.h"

#include <gtest/gtest.h>

namespace Korr::Plim::Trace::Simulator {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes Numbered(size_t count, size_t first = 0) {
    Bytes bytes(count);
    for (size_t i = 0; i < count; ++i) bytes[i] = static_cast<uint8_t>(first + i);
    return bytes;
}

Bytes Take(ProbeBuffer& buffer, size_t count) {
    Bytes taken;
    while (taken.size() < count && buffer.Waiting() > 0) {
        const auto front = buffer.Front(count - taken.size());
        taken.insert(taken.end(), front.begin(), front.end());
        buffer.Remove(front.size());
    }
    return taken;
}

TEST(ProbeBuffer, GivesBytesBackInOrderAroundItsEnd) {
    ProbeBuffer buffer(10);
    size_t sent = 0;
    size_t taken = 0;
    for (int round = 0; round < 20; ++round) {
        buffer.Receive(Numbered(7, sent), 0, true);
        sent += 7;
        EXPECT_EQ(Take(buffer, 7), Numbered(7, taken));
        taken += 7;
    }
    EXPECT_EQ(buffer.Received(), sent);
    EXPECT_EQ(buffer.Dropped(), 0U);
}

TEST(ProbeBuffer, IsFullExactlyAtItsSize) {
    ProbeBuffer buffer(100);
    buffer.Receive(Numbered(100), 0, true);
    EXPECT_EQ(buffer.Dropped(), 0U);
    EXPECT_EQ(buffer.MostWaiting(), 100U);
    buffer.Receive(Numbered(1), 0, true);
    EXPECT_EQ(buffer.Dropped(), 1U);
    EXPECT_EQ(buffer.Waiting(), 100U);
}

TEST(ProbeBuffer, CountsBytesThatTheFarEndHasNotReadAsWaiting) {
    ProbeBuffer buffer(100);
    buffer.Receive(Numbered(50), 60, true);
    EXPECT_EQ(buffer.Waiting(), 40U);
    EXPECT_EQ(buffer.Dropped(), 10U);
    EXPECT_EQ(buffer.MostWaiting(), 100U);
}

TEST(ProbeBuffer, OneStandstillIsOneGap) {
    ProbeBuffer buffer(100);
    buffer.Receive(Numbered(90), 0, true);
    for (int i = 0; i < 10; ++i) buffer.Receive(Numbered(20), 0, true);
    Take(buffer, 10);  // a little room: not enough to go on
    buffer.Receive(Numbered(5), 0, true);
    Take(buffer, 100);
    buffer.Receive(Numbered(20), 0, true);
    ASSERT_EQ(buffer.OverrunCount(), 1U);
    EXPECT_EQ(buffer.Overruns()[0].offset, 100U);
    EXPECT_EQ(buffer.Overruns()[0].length, 10U + 9 * 20 + 5);
    EXPECT_EQ(buffer.LongestOverrun(), 195U);
    EXPECT_EQ(buffer.Dropped(), 195U);
    EXPECT_EQ(buffer.Received(), 90U + 200 + 5 + 20);
}

TEST(ProbeBuffer, ASecondStandstillIsASecondGap) {
    ProbeBuffer buffer(10);
    for (int i = 0; i < 2; ++i) {
        buffer.Receive(Numbered(15), 0, true);
        Take(buffer, 10);
    }
    ASSERT_EQ(buffer.OverrunCount(), 2U);
    EXPECT_EQ(buffer.Overruns()[1].offset, 25U);
    EXPECT_EQ(buffer.Overruns()[1].length, 5U);
}

TEST(ProbeBuffer, TellsWhatWasDroppedWhileNobodyListened) {
    ProbeBuffer buffer(10);
    buffer.Receive(Numbered(30), 0, false);
    EXPECT_EQ(buffer.Dropped(), 20U);
    EXPECT_EQ(buffer.Unattended(), 20U);
    EXPECT_EQ(buffer.OverrunCount(), 0U);
}

TEST(ProbeBuffer, AGapBehindOneThatNobodySawIsCounted) {
    ProbeBuffer buffer(10);
    buffer.Receive(Numbered(30), 0, false);
    buffer.Receive(Numbered(7), 0, true);
    EXPECT_EQ(buffer.Dropped(), 27U);
    EXPECT_EQ(buffer.Unattended(), 20U);
    ASSERT_EQ(buffer.OverrunCount(), 1U);
    EXPECT_EQ(buffer.Overruns()[0].offset, 30U);
    EXPECT_EQ(buffer.Overruns()[0].length, 7U);
}

TEST(ProbeBuffer, WhatIsLeftBehindCountsAsDropped) {
    ProbeBuffer buffer(100);
    buffer.Receive(Numbered(60), 0, true);
    Take(buffer, 20);
    buffer.GiveUp(5, true);
    EXPECT_EQ(buffer.Unattended(), 0U);
    EXPECT_EQ(buffer.LeftBehind(), 45U);
    EXPECT_EQ(buffer.Dropped(), 45U);
    EXPECT_EQ(buffer.Waiting(), 0U);
}

TEST(ProbeBuffer, WhatIsLeftBehindByNobodyIsNobodysFault) {
    ProbeBuffer buffer(100);
    buffer.Receive(Numbered(60), 0, false);
    buffer.GiveUp(0, false);
    EXPECT_EQ(buffer.Dropped(), 60U);
    EXPECT_EQ(buffer.Unattended(), 60U);
}

TEST(ProbeBuffer, ListsTheFirstThousandGapsAndCountsAll) {
    ProbeBuffer buffer(2);
    for (int i = 0; i < 1500; ++i) {
        buffer.Receive(Numbered(3), 0, true);
        Take(buffer, 2);
    }
    EXPECT_EQ(buffer.OverrunCount(), 1500U);
    EXPECT_EQ(buffer.Overruns().size(), 1000U);
    EXPECT_EQ(buffer.Overruns().back().length, 1U);
    EXPECT_EQ(buffer.Dropped(), 1500U);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Simulator
