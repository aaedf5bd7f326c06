#include "windows_calls.h"

#include <algorithm>
#include <atomic>
#include <string>

#include "source_utilities/native_thread.h"
#include "source_utilities/uDll.h"
#include "source_utilities/uThread.h"

// The Windows bodies of threads and libraries over the platform's calls.
namespace {

using namespace KORR_PLIM;

class Flag : public KORR_PLIM::uRunnable {
  public:
    void Run() override { ran = true; }
    std::atomic<bool> ran{false};
};

TEST_F(WindowsCalls, ThreadIsCreatedSuspendedThenResumed) {
    Flag flag;
    {
        uThread thread(&flag, 2, 65536);
        ASSERT_TRUE(thread.Start());
        while (!flag.ran) Pause();
    }
    EXPECT_EQ(Noted(),
              (Calls{"_beginthreadex 65536 4", "SetThreadPriority 2", "ResumeThread", "CloseHandle"}));
}
TEST_F(WindowsCalls, ThreadThatCannotBeCreatedFailsTheStart) {
    Flag flag;
    Begin({"_beginthreadex"});
    { EXPECT_FALSE(uThread(&flag).Start()); }
    EXPECT_EQ(Noted(), (Calls{"_beginthreadex 0 4"}));
    EXPECT_FALSE(flag.ran);
}
TEST_F(WindowsCalls, HandleOfAThreadThatCannotBeClosedIsGivenUp) {
    Flag flag;
    Begin({"CloseHandle"});
    {
        uThread thread(&flag);
        ASSERT_TRUE(thread.Start());
        while (!flag.ran) Pause();
    }
    const Calls noted = Noted();
    EXPECT_EQ(std::count(noted.begin(), noted.end(), "CloseHandle"), 1);
    uint32_t id = 0;
    const auto thread = platform::CreateSuspendedThread(
        0, [](void*) { return 0U; }, nullptr, id);
    EXPECT_EQ(platform::ResumeThread(thread), 1U);
    Begin({"CloseHandle"});
    EXPECT_FALSE(platform::CloseThread(thread));
    EXPECT_EQ(Noted(), (Calls{"CloseHandle"}));
}
TEST_F(WindowsCalls, RefusedPriorityDoesNotKeepTheThreadFromRunning) {
    Flag flag;
    uThread thread(&flag);
    Begin({"SetThreadPriority"});
    ASSERT_TRUE(thread.Start());
    while (!flag.ran) Pause();
}
TEST_F(WindowsCalls, FailedResumeFailsTheStart) {
    Flag flag;
    Begin({"ResumeThread"});
    { EXPECT_FALSE(uThread(&flag).Start()); }
    EXPECT_EQ(Noted(), (Calls{"_beginthreadex 0 4", "SetThreadPriority 0", "ResumeThread", "CloseHandle"}));
    EXPECT_FALSE(flag.ran);
}
TEST_F(WindowsCalls, SleepAndYield) {
    uThread::Sleep(3);
    (uThread::Yield)();
    EXPECT_EQ(Noted(), (Calls{"Sleep 3", "Sleep 0"}));
}
TEST_F(WindowsCalls, LibraryIsLoadedByItsBareNameAndFreed) {
    {
        uDll dll;
        EXPECT_TRUE(dll.FindAndLoad("tarnel_test_good.dll", uDll::kDefaultMode)) << dll.Error();
        EXPECT_NE(dll.GetSymbol("TarnelTestAnswer"), nullptr);
    }
    Calls noted = Noted();
    noted.erase(
        std::remove_if(noted.begin(), noted.end(),
                       [](const std::string& call) { return call.find("Library") == std::string::npos; }),
        noted.end());
    EXPECT_EQ(noted, (Calls{"LoadLibraryA tarnel_test_good", "FreeLibrary"}));
}
TEST_F(WindowsCalls, LoadErrorIsThePlatformsNumber) {
    uDll dll;
    Begin({"LoadLibraryA"});
    EXPECT_FALSE(dll.Load("any", 0));
    Noted();
    EXPECT_EQ(dll.Error(), "failed to load any with error code 193");
}

TEST_F(WindowsCalls, SymbolErrorIsThePlatformsNumber) {
    uDll dll;
    ASSERT_TRUE(dll.FindAndLoad("tarnel_test_good.dll", uDll::kDefaultMode)) << dll.Error();
    Begin({"GetProcAddress"});
    EXPECT_EQ(dll.GetSymbol("TarnelTestAnswer"), nullptr);
    EXPECT_EQ(Noted(), (Calls{"GetProcAddress TarnelTestAnswer"}));
    EXPECT_EQ(dll.Error(), "GetLastError() returned 182");
    EXPECT_NE(dll.GetSymbol("TarnelTestAnswer"), nullptr) << "the library is still there";
}
TEST_F(WindowsCalls, LibraryThatCannotBeFreedIsGivenUp) {
    Begin({"FreeLibrary"});
    {
        uDll dll;
        ASSERT_TRUE(dll.Load("tarnel_test_good", 0)) << dll.Error();
        ASSERT_TRUE(dll.Load("tarnel_test_other", 0)) << dll.Error();
        EXPECT_NE(dll.GetSymbol("TarnelTestAnswer"), nullptr);
    }
    EXPECT_EQ(Noted(),
              (Calls{"LoadLibraryA tarnel_test_good", "FreeLibrary", "LoadLibraryA tarnel_test_other",
                     "GetProcAddress TarnelTestAnswer", "FreeLibrary"}));
}

}  // namespace
