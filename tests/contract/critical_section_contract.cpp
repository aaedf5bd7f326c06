#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "source_utilities/critical_section.h"

namespace {

using namespace KORR_PLIM::platform;

TEST(CriticalSectionContract, IsReentrantAndShutsOthersOut) {
    CriticalSection section;
    section.Enter();
    section.Enter();
    std::atomic<bool> entered{false};
    std::thread other([&] {
        section.Enter();
        entered = true;
        section.Leave();
    });
    section.Leave();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(entered);
    section.Leave();
    other.join();
    EXPECT_TRUE(entered);
}
TEST(CriticalSectionContract, ThreadIdsAreStableDistinctAndNotZero) {
    const uint32_t mine = CurrentThreadId();
    uint32_t others = 0;
    std::thread([&] { others = CurrentThreadId(); }).join();
    EXPECT_NE(mine, 0U);
    EXPECT_NE(others, 0U);
    EXPECT_NE(mine, others);
    EXPECT_EQ(CurrentThreadId(), mine);
}

}  // namespace
