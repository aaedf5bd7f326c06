#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "source_utilities/native_thread.h"

namespace {

using namespace KORR_PLIM::platform;

uint32_t CountUp(void* counter) {
    ++*static_cast<std::atomic<int>*>(counter);
    return 0;
}

/// Waits until the counter has that value, for at most 20 s.
bool Reaches(const std::atomic<int>& counter, int value) {
    for (int i = 0; i < 20000 && counter != value; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return counter == value;
}

class SuspendedThread : public testing::TestWithParam<uint32_t> {};

TEST_P(SuspendedThread, RunsOnceItIsResumed) {
    std::atomic<int> counter{0};
    uint32_t id = 0;
    const ThreadHandle thread = CreateSuspendedThread(GetParam(), &CountUp, &counter, id);
    ASSERT_NE(thread, kNoThread);
    EXPECT_NE(id, 0U);
    EXPECT_TRUE(SetThreadPriority(thread, 0));
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(counter, 0);
    EXPECT_EQ(ResumeThread(thread), 1U);
    EXPECT_TRUE(Reaches(counter, 1));
    EXPECT_TRUE(CloseThread(thread));
}
INSTANTIATE_TEST_SUITE_P(NativeThreadContract, SuspendedThread, testing::Values(0U, 1U, 100001U, 1048576U));

TEST(NativeThreadContract, ClosingTheHandleLeavesTheThreadRunning) {
    std::atomic<int> counter{0};
    uint32_t id = 0;
    const ThreadHandle thread = CreateSuspendedThread(0, &CountUp, &counter, id);
    ASSERT_NE(thread, kNoThread);
    EXPECT_EQ(ResumeThread(thread), 1U);
    EXPECT_TRUE(CloseThread(thread));
    EXPECT_TRUE(Reaches(counter, 1));
}
/// The thread sanitizer looks on.
TEST(NativeThreadContract, PriorityMayBeSetWhileTheThreadEnds) {
    for (int round = 0; round < 100; ++round) {
        std::atomic<int> counter{0};
        uint32_t id = 0;
        const ThreadHandle thread = CreateSuspendedThread(0, &CountUp, &counter, id);
        ASSERT_NE(thread, kNoThread);
        EXPECT_EQ(ResumeThread(thread), 1U);
        for (int i = 0; i < 100000 && counter == 0; ++i) SetThreadPriority(thread, 0);
        for (int i = 0; i < 300; ++i) SetThreadPriority(thread, 0);
        EXPECT_TRUE(Reaches(counter, 1));
        EXPECT_TRUE(CloseThread(thread));
    }
}
TEST(NativeThreadContract, ResumingTwiceTellsThatItWasNotSuspended) {
    std::atomic<int> counter{0};
    uint32_t id = 0;
    const ThreadHandle thread = CreateSuspendedThread(0, &CountUp, &counter, id);
    EXPECT_EQ(ResumeThread(thread), 1U);
    EXPECT_NE(ResumeThread(thread), 1U);
    EXPECT_TRUE(Reaches(counter, 1));
    CloseThread(thread);
}
TEST(NativeThreadContract, SleepLastsAtLeastItsTimeOrAMoment) {
    const auto begin = std::chrono::steady_clock::now();
    SleepMilliseconds(0);
    SleepMilliseconds(5);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::microseconds(900));
}

}  // namespace
