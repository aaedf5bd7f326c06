#include "source_utilities/uThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

#include "tests/fakes/scripted_native_thread.h"

namespace {

using KORR_PLIM::uRunnable;
using KORR_PLIM::uThread;
namespace threads = fakes::native_thread;
using Calls = std::vector<std::string>;

class Counter : public uRunnable {
  public:
    void Run() override { ++runs; }
    std::atomic<int> runs{0};
};

class uThreadTest : public testing::Test {
  protected:
    uThreadTest() { threads::Reset(); }
    ~uThreadTest() override { threads::Reset(); }
    Counter counter;
};

TEST_F(uThreadTest, ConstructionStartsNothing) {
    { const uThread thread(&counter); }
    EXPECT_EQ(threads::Log(), Calls{});
}
TEST_F(uThreadTest, StartCreatesSetsThePriorityAndResumes) {
    uThread thread(&counter, 2, 65536);
    EXPECT_TRUE(thread.Start());
    EXPECT_EQ(threads::Log(), (Calls{"create 65536", "priority 2", "resume"}));
    threads::Reset();
    EXPECT_EQ(counter.runs, 1);
}
TEST_F(uThreadTest, FailedCreationFailsTheStart) {
    threads::Script().Fail("CreateSuspendedThread");
    {
        uThread thread(&counter);
        EXPECT_FALSE(thread.Start());
    }
    EXPECT_EQ(threads::Log(), (Calls{"create 0"})) << "there is no handle to close";
    EXPECT_EQ(counter.runs, 0);
}
TEST_F(uThreadTest, RefusedPriorityDoesNotKeepTheThreadFromRunning) {
    threads::Script().Fail("SetThreadPriority");
    uThread thread(&counter, 15);
    EXPECT_TRUE(thread.Start());
    threads::Reset();
    EXPECT_EQ(counter.runs, 1);
}
TEST_F(uThreadTest, FailedResumeFailsTheStart) {
    threads::Script().Fail("ResumeThread");
    uThread thread(&counter);
    EXPECT_FALSE(thread.Start());
    threads::Reset();
    EXPECT_EQ(counter.runs, 0);
}
TEST_F(uThreadTest, StartIsTrueOnlyForASuspendCountOfExactlyOne) {
    for (const uint32_t count : {0U, 2U, 127U}) {
        threads::SetSuspendCount(count);
        uThread thread(&counter);
        EXPECT_FALSE(thread.Start()) << count;
        threads::Reset();  // waits for the thread
    }
}
TEST_F(uThreadTest, NullRunnableEndsAtOnce) {
    uThread thread(nullptr);
    EXPECT_TRUE(thread.Start());
    threads::Reset();  // waits for the thread
}
TEST_F(uThreadTest, DestructorClosesTheHandleOnly) {
    {
        uThread thread(&counter);
        thread.Start();
        threads::Reset();
        threads::Script().Reset();
    }
    EXPECT_EQ(threads::Log(), (Calls{"close"}));
}
TEST_F(uThreadTest, SecondStartGivesTheFirstHandleBack) {
    uThread thread(&counter);
    EXPECT_TRUE(thread.Start());
    EXPECT_TRUE(thread.Start());
    EXPECT_EQ(threads::Log(),
              (Calls{"create 0", "priority 0", "resume", "close", "create 0", "priority 0", "resume"}));
    threads::Reset();
    EXPECT_EQ(counter.runs, 2);
}
TEST_F(uThreadTest, YieldIsAZeroLengthSleep) {
    uThread::Sleep(25);
    uThread::Yield();
    EXPECT_EQ(threads::SleepLog(), (std::vector<uint32_t>{25, 0}));
}

}  // namespace
