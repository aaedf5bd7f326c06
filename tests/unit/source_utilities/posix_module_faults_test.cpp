#include "posix_faults.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "source_utilities/dynamic_library.h"
#include "source_utilities/native_thread.h"
#include "source_utilities/uDll.h"
#include "source_utilities/uThread.h"
#include "thread_flag.h"

// The Linux bodies of threads and libraries over system calls that fail.
namespace {

using namespace KORR_PLIM;

/// Made before the first thread of the program, so gone after the module's threads have been waited for.
class ProgramsEnd {
  public:
    ~ProgramsEnd() {
        if (givesJoins) _exit(PosixFaults::joinCalls);
    }
    bool givesJoins = false;  ///< the program's exit status is how many threads were joined
};
ProgramsEnd programsEnd;

/// A thread that has been made and waits to be resumed, then for its end.
struct WaitingThread {
    std::atomic<bool> mayEnd{false};
    uint32_t id = 0;
    const platform::ThreadHandle handle = platform::CreateSuspendedThread(0, &Run, this, id);
    const std::filesystem::path place = "/proc/self/task/" + std::to_string(id);

    bool Lives() const { return std::filesystem::exists(place); }
    void WaitForEnd() const {
        while (Lives()) uThread::Yield();
    }
    static uint32_t Run(void* thread) {
        while (!static_cast<WaitingThread*>(thread)->mayEnd) uThread::Yield();
        return 0;
    }
};

TEST_F(PosixFaults, ThreadThatCannotBeCreatedFailsTheStart) {
    Flag flag;
    uThread thread(&flag);
    failing = {"pthread_create"};
    EXPECT_FALSE(thread.Start());
    EXPECT_FALSE(flag.ran);
    failing.clear();
    EXPECT_TRUE(thread.Start()) << "nothing is left behind";
    Wait(flag);
}
TEST_F(PosixFaults, ThreadThatCannotBeJoinedIsGivenUp) {
    failing = {"pthread_join"};
    joinCalls = 0;
    int threads = 0;
    while (joinCalls == 0 || threads < 20) {
        Flag flag;
        uThread thread(&flag);
        ASSERT_TRUE(thread.Start());
        Wait(flag);
        ++threads;
    }
    EXPECT_LE(joinCalls, threads);
}
TEST_F(PosixFaults, RefusedPriorityDoesNotKeepTheThreadFromRunning) {
    for (const int priority : {2, 77}) {
        Flag flag;
        uThread thread(&flag, priority);
        failing = {"setpriority"};
        ASSERT_TRUE(thread.Start());
        Wait(flag);
    }
}
TEST_F(PosixFaults, PrioritiesAreNiceValues) {
    WaitingThread thread;
    ASSERT_NE(thread.handle, platform::kNoThread);
    int priority = 0;
    std::vector<std::pair<int, int>> nices;
    whileSettingPriority = [&](int nice) { nices.emplace_back(priority, nice); };
    failing = {"setpriority"};  // so that it does not matter who may have which
    for (priority = -20; priority <= 20; ++priority) platform::SetThreadPriority(thread.handle, priority);
    EXPECT_EQ(nices, (std::vector<std::pair<int, int>>{
                         {-15, 19}, {-2, 10}, {-1, 5}, {0, 0}, {1, -5}, {2, -10}, {15, -15}}));
    thread.mayEnd = true;
    platform::ResumeThread(thread.handle);
    thread.WaitForEnd();
    platform::CloseThread(thread.handle);
}
TEST_F(PosixFaults, ThreadDoesNotEndWhileItsPriorityIsSet) {
    WaitingThread thread;
    ASSERT_NE(thread.handle, platform::kNoThread);
    platform::ResumeThread(thread.handle);
    whileSettingPriority = [&](int) {
        thread.mayEnd = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_TRUE(thread.Lives()) << "its id may be another one's by now";
    };
    platform::SetThreadPriority(thread.handle, 0);
    thread.WaitForEnd();
    platform::CloseThread(thread.handle);
}
TEST_F(PosixFaults, ThreadsAreJoinedAtTheEnd) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            WaitingThread thread;
            platform::ResumeThread(thread.handle);
            thread.mayEnd = true;
            thread.WaitForEnd();
            programsEnd.givesJoins = true;
            std::exit(0);
        },
        testing::ExitedWithCode(1), "");
}
TEST_F(PosixFaults, InterruptedSleepGoesOn) {
    failing = {"nanosleep"};
    const auto begin = std::chrono::steady_clock::now();
    uThread::Sleep(1);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(3));
    EXPECT_EQ(failing.count("nanosleep"), 0U);
}
TEST_F(PosixFaults, LibraryIsLookedForBesideTheModuleThenByThePlatform) {
    failing = {"dlopen"};
    EXPECT_EQ(platform::LoadDynamicLibrary("some"), platform::kNoLibrary);
    EXPECT_EQ(platform::LastLibraryError(), 126U);
    ASSERT_EQ(opened.size(), 4U);
    const std::string own = opened[0].substr(0, opened[0].rfind('/') + 1);
    EXPECT_FALSE(own.empty());
    EXPECT_EQ(opened,
              (std::vector<std::string>{own + "libsome.so", own + "some.so", "libsome.so", "some.so"}));
}
TEST_F(PosixFaults, UnknownModuleFolderLeavesThePlatformsSearch) {
    failing = {"dlopen", "dladdr"};
    EXPECT_EQ(platform::LoadDynamicLibrary("some"), platform::kNoLibrary);
    EXPECT_EQ(opened, (std::vector<std::string>{"libsome.so", "some.so"}));
}
TEST_F(PosixFaults, PathIsLookedForThereAlone) {
    EXPECT_EQ(platform::LoadDynamicLibrary("/nowhere/some"), platform::kNoLibrary);
    EXPECT_EQ(opened, (std::vector<std::string>{"/nowhere/libsome.so", "/nowhere/some.so"}));
}
TEST_F(PosixFaults, LibraryThatCannotBeFreedIsGivenUp) {
    uDll dll;
    ASSERT_TRUE(dll.Load("tarnel_test_good", 0)) << dll.Error();
    failing = {"dlclose"};
    EXPECT_TRUE(dll.Load("tarnel_test_other", 0)) << dll.Error();
    failing.clear();
    EXPECT_EQ(dll.GetSymbol("TarnelTestCount"), nullptr) << "it is the other one";
    EXPECT_NE(dll.GetSymbol("TarnelTestAnswer"), nullptr);
}

}  // namespace
