#include "posix_faults.h"

#include <chrono>
#include <string>
#include <vector>

#include "source_utilities/dynamic_library.h"
#include "source_utilities/uDll.h"
#include "source_utilities/uThread.h"
#include "thread_flag.h"

// The Linux bodies of threads and libraries over system calls that fail.
namespace {

using namespace KORR_PLIM;

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
