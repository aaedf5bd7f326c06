#include "source_utilities/uDll.h"

#include <gtest/gtest.h>

#include <optional>

#include "source_utilities/uLogManager.h"
#include "temporary_folder.h"
#include "tests/fakes/scripted_debugger_output.h"
#include "tests/fakes/scripted_dynamic_library.h"
#include "tests/fakes/scripted_environment_variables.h"
#include "tests/fakes/scripted_file_system.h"
#include "tests/fakes/scripted_local_time.h"

namespace {

using namespace KORR_PLIM;
namespace files = fakes::file_system;
namespace variables = fakes::environment_variables;
namespace libraries = fakes::dynamic_library;
using Names = std::vector<std::string>;

int Answer() { return 42; }

class uDllTest : public testing::Test {
  protected:
    uDllTest() {
        files::Reset();
        variables::Reset();
        libraries::Reset();
        fakes::local_time::Reset();
        files::SetWorkingFolder("work");
        variables::Put("USERPROFILE", folder.Path());
        variables::Put("LOG_DIR", folder.Path());
        variables::Put("PATH", "the;path");
        libraries::RegisterLibrary("SetupAdapter4", {{"Answer", libraries::Entry(&Answer)}});
    }
    ~uDllTest() override {
        if (uLogger* logger = uLogManager::Instance().CurrentLogger()) logger->SetEnabled(false);
    }
    /// Opens a fresh log of that level; its first lines are cut away.
    void OpenLog(const char* level) {
        static int number = 0;
        logName = "dll" + std::to_string(++number) + ".txt";
        variables::Put("LEVEL", level);
        testing::internal::CaptureStdout();
        uLogManager::Instance().Open(logName.c_str(), "LEVEL", "LOG_DIR", true);
        uLogManager::Instance().CurrentLogger()->SetConsole(false);
        testing::internal::GetCapturedStdout();
        if (std::filesystem::exists(folder.File(logName))) {
            std::filesystem::resize_file(folder.File(logName), 0);
        }
    }
    std::string Logged() const { return ReadText(folder.File(logName)); }

    TemporaryFolder folder;
    std::string logName = "none";
    uDll dll;
};

TEST_F(uDllTest, ConstructorLoadsNothing) {
    const uDll other("SetupAdapter4", 3);
    EXPECT_EQ(libraries::LoadLog(), Names{});
    EXPECT_EQ(other.Name(), "SetupAdapter4");
    EXPECT_EQ(other.Mode(), 3U);
    EXPECT_EQ(other.Error(), "");
}
TEST_F(uDllTest, ConstructorTakesNullAndMakesTheHighestModesZero) {
    EXPECT_EQ(uDll(nullptr, 0xFFFFFFFF).Name(), "");
    EXPECT_EQ(uDll(nullptr, 0xFFFFFFFF).Mode(), 0U);
    EXPECT_EQ(uDll(nullptr, 0xFFFFFFFE).Mode(), 0U);
    EXPECT_EQ(uDll(nullptr, 0xFFFFFFFD).Mode(), 0xFFFFFFFDU);
}
TEST_F(uDllTest, PlatformNameGetsAnExtensionUnlessItHoldsOne) {
    EXPECT_EQ(uDll::GetPlatformName("foo"), "foo.dll");
    EXPECT_EQ(uDll::GetPlatformName("foo.dll"), "foo.dll");
    EXPECT_EQ(uDll::GetPlatformName("foo.dll.old"), "foo.dll.old");
    EXPECT_EQ(uDll::GetPlatformName("foo.DLL"), "foo.DLL.dll") << "case counts";
    EXPECT_EQ(uDll::GetPlatformName(".dll"), ".dll.dll");
    EXPECT_EQ(uDll::GetPlatformName(""), ".dll");
    libraries::SetExtension("so");
    EXPECT_EQ(uDll::GetPlatformName("foo"), "foo.so");
}
TEST_F(uDllTest, LoadsByTheNameWithoutExtension) {
    EXPECT_TRUE(dll.FindAndLoad("SetupAdapter4", uDll::kDefaultMode));
    EXPECT_EQ(libraries::LoadLog(), Names{"SetupAdapter4"});
    EXPECT_EQ(dll.Name(), "SetupAdapter4");
}
TEST_F(uDllTest, EveryExtensionIsRemovedFromTheNameLoaded) {
    dll.FindAndLoad("foo.dll", 0);
    dll.FindAndLoad("a.dll.dllb", 0);
    dll.FindAndLoad("x.d.dllll", 0);
    EXPECT_EQ(libraries::LoadLog(), (Names{"foo", "ab", "x"}));
}
TEST_F(uDllTest, NamesWithNothingButExtensionsAreNotLoaded) {
    for (const char* name : {"", ".dll", ".dll.dll"}) EXPECT_FALSE(dll.FindAndLoad(name, 0)) << name;
    EXPECT_FALSE(dll.FindAndLoad(nullptr, 0));
    EXPECT_EQ(libraries::LoadLog(), Names{});
    EXPECT_EQ(dll.Error(), "");
}
TEST_F(uDllTest, SearchIsLogged) {
    OpenLog("1");
    dll.FindAndLoad("SetupAdapter4", uDll::kDefaultMode);
    EXPECT_EQ(Logged(),
              "M     12:34:56:007 | uDll:  request to load \"SetupAdapter4\" in mode -1\n"
              "M     12:34:56:007 | uDll:  GetPlatformName returned \"SetupAdapter4.dll\"\n"
              "M     12:34:56:007 | uDll:  Working Directory is: \"work\"\n"
              "M     12:34:56:007 | uDll:  PATH=the;path\n");
}
TEST_F(uDllTest, FunctionTraceIsLoggedAtLevelThree) {
    OpenLog("6");
    dll.FindAndLoad(nullptr, 0);
    EXPECT_EQ(Logged(), "  F    uDll #191  KORR_PLIM::uDll::FindAndLoad(...)\n");
}
TEST_F(uDllTest, BelowItsLevelNoLineIsWritten) {
    OpenLog("5");
    dll.FindAndLoad(nullptr, 0);
    EXPECT_EQ(Logged(), "") << "the function trace";
    OpenLog("0");
    dll.FindAndLoad("SetupAdapter4", 0);
    uDll().FindAndLoad("missing", 0);
    EXPECT_EQ(Logged(), "");
}
TEST_F(uDllTest, OnlyLoadsAreLoggedAndAFailedOneOnce) {
    OpenLog("1");
    dll.Load("missing", 0);
    EXPECT_EQ(Logged(), "M     12:34:56:007 | uDll: failed to load missing with error code 126\n");
    OpenLog("1");
    dll.Load("SetupAdapter4", 0);
    dll.GetSymbol("Answer");
    dll.GetSymbol("Nothing");
    EXPECT_EQ(dll.Error(), "GetLastError() returned 127");
    EXPECT_EQ(Logged(), "");
}
TEST_F(uDllTest, NoOperationThrows) {
    libraries::ThrowFromCalls(true);
    EXPECT_NO_THROW(EXPECT_FALSE(dll.FindAndLoad("SetupAdapter4", 0)));
    EXPECT_NO_THROW(EXPECT_FALSE(dll.Load("SetupAdapter4", 0)));
    libraries::ThrowFromCalls(false);
    ASSERT_TRUE(dll.Load("SetupAdapter4", 0));
    libraries::ThrowFromCalls(true);
    EXPECT_NO_THROW(EXPECT_EQ(dll.GetSymbol("Answer"), nullptr));
    libraries::ThrowFromCalls(false);
    EXPECT_NE(dll.GetSymbol("Answer"), nullptr) << "what is loaded stays loaded";
}
TEST_F(uDllTest, SecondLoadIsTrueAndNotLogged) {
    OpenLog("1");
    dll.FindAndLoad("SetupAdapter4", 0);
    const std::string once = Logged();
    EXPECT_TRUE(dll.FindAndLoad("SetupAdapter4", 0));
    EXPECT_TRUE(dll.FindAndLoad("other", 0)) << "loaded is loaded";
    EXPECT_EQ(Logged(), once);
    EXPECT_EQ(libraries::LoadLog().size(), 1U);
}
TEST_F(uDllTest, NamesCannotForgeLines) {
    OpenLog("1");
    files::SetWorkingFolder("work\nforged");
    variables::Put("PATH", "the\r\npath\x1B[2J");
    EXPECT_FALSE(dll.FindAndLoad("missing\tlibrary", 0));
    EXPECT_EQ(Logged(),
              "M     12:34:56:007 | uDll:  request to load \"missing\\tlibrary\" in mode 0\n"
              "M     12:34:56:007 | uDll:  GetPlatformName returned \"missing\\tlibrary.dll\"\n"
              "M     12:34:56:007 | uDll:  Working Directory is: \"work\\nforged\"\n"
              "M     12:34:56:007 | uDll:  PATH=the\\r\\npath\\x1B[2J\n"
              "M     12:34:56:007 | uDll: failed to load missing\\tlibrary with error code 126\n");
    EXPECT_EQ(dll.Error(), "failed to load missing\tlibrary with error code 126");
}
TEST_F(uDllTest, PathOfThirtyTwoThousandCharactersIsLoggedWhole) {
    OpenLog("1");
    const std::string path(32000, 'p');
    variables::Put("PATH", path);
    EXPECT_TRUE(dll.FindAndLoad("SetupAdapter4", 0));
    EXPECT_NE(Logged().find("uDll:  PATH=" + path + "\n"), std::string::npos);
}
TEST_F(uDllTest, UnknownWorkingFolderDoesNotKeepTheLibraryFromLoading) {
    OpenLog("1");
    files::Script().Fail("WorkingFolder");
    EXPECT_TRUE(dll.FindAndLoad("SetupAdapter4", 0));
    EXPECT_NE(Logged().find("uDll:  Working Directory is: \"\"\n"), std::string::npos);
}
TEST_F(uDllTest, FailedLoadKeepsItsTextAndLogsIt) {
    OpenLog("1");
    EXPECT_FALSE(dll.FindAndLoad("missing", uDll::kDefaultMode));
    EXPECT_EQ(dll.Error(), "failed to load missing with error code 126");
    EXPECT_NE(Logged().find("M     12:34:56:007 | uDll: failed to load missing with error code 126\n"),
              std::string::npos);
}
TEST_F(uDllTest, ErrorTextCanBeReadTwiceAndIsTheObjectsOwn) {
    dll.FindAndLoad("missing", 0);
    const std::string* first = &dll.Error();
    uDll other;
    libraries::SetFailureCode(193);
    other.FindAndLoad("broken", 0);
    EXPECT_EQ(&dll.Error(), first);
    EXPECT_EQ(dll.Error(), "failed to load missing with error code 126");
    EXPECT_EQ(dll.Error(), "failed to load missing with error code 126");
    EXPECT_EQ(other.Error(), "failed to load broken with error code 193");
}
TEST_F(uDllTest, ErrorCodeIsPrintedUnsignedForLoads) {
    libraries::SetFailureCode(0xFFFFFFFF);
    dll.Load("missing", 0);
    EXPECT_EQ(dll.Error(), "failed to load missing with error code 4294967295");
}
TEST_F(uDllTest, SuccessAfterAFailureClearsTheText) {
    EXPECT_FALSE(dll.FindAndLoad("missing", 0));
    EXPECT_TRUE(dll.FindAndLoad("SetupAdapter4", 0));
    EXPECT_EQ(dll.Error(), "");
}
TEST_F(uDllTest, ModeIsRecordedUnlessItIsTheDefault) {
    dll.FindAndLoad("missing", 5);
    EXPECT_EQ(dll.Mode(), 5U);
    dll.FindAndLoad("missing", uDll::kDefaultMode);
    EXPECT_EQ(dll.Mode(), 0U);
    dll.FindAndLoad("missing", 0xFFFFFFFE);
    EXPECT_EQ(dll.Mode(), 0xFFFFFFFEU);
    dll.Load("missing", uDll::kDefaultMode);
    EXPECT_EQ(dll.Mode(), 0U);
}
TEST_F(uDllTest, EntryPointsAreFound) {
    dll.FindAndLoad("SetupAdapter4", 0);
    auto* entry = reinterpret_cast<int (*)()>(dll.GetSymbol("Answer"));
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry(), 42);
    EXPECT_EQ(dll.Error(), "");
}
TEST_F(uDllTest, MissingEntryPointLeavesItsText) {
    dll.FindAndLoad("SetupAdapter4", 0);
    EXPECT_EQ(dll.GetSymbol("Nothing"), nullptr);
    EXPECT_EQ(dll.Error(), "GetLastError() returned 127");
    EXPECT_NE(dll.GetSymbol("Answer"), nullptr);
    EXPECT_EQ(dll.Error(), "") << "a success clears the text";
    EXPECT_EQ(dll.GetSymbol(nullptr), nullptr);
    EXPECT_EQ(dll.Error(), "GetLastError() returned 127");
}
TEST_F(uDllTest, EntryPointErrorIsPrintedSigned) {
    dll.FindAndLoad("SetupAdapter4", 0);
    libraries::SetFailureCode(0xFFFFFFFF);
    dll.GetSymbol("Nothing");
    EXPECT_EQ(dll.Error(), "GetLastError() returned -1");
}
TEST_F(uDllTest, NothingLoadedHasNoEntryPointsAndKeepsTheText) {
    EXPECT_EQ(dll.GetSymbol("Answer"), nullptr);
    dll.FindAndLoad("missing", 0);
    EXPECT_EQ(dll.GetSymbol("Answer"), nullptr);
    EXPECT_EQ(dll.Error(), "failed to load missing with error code 126");
}
TEST_F(uDllTest, DestructorUnloads) {
    {
        uDll loaded;
        loaded.FindAndLoad("SetupAdapter4", 0);
        EXPECT_EQ(libraries::LoadedCount("SetupAdapter4"), 1);
    }
    EXPECT_EQ(libraries::UnloadLog(), Names{"SetupAdapter4"});
    { const uDll never; }
    { uDll().FindAndLoad("missing", 0); }
    EXPECT_EQ(libraries::UnloadLog().size(), 1U);
}
TEST_F(uDllTest, LoadUnloadsWhatWasLoadedBefore) {
    dll.Load("SetupAdapter4", 0);
    EXPECT_FALSE(dll.Load("missing", 0));
    EXPECT_EQ(libraries::LoadedCount("SetupAdapter4"), 0);
    EXPECT_EQ(dll.GetSymbol("Answer"), nullptr);
}
TEST_F(uDllTest, LoadOfNullFails) {
    EXPECT_FALSE(dll.Load(nullptr, 0));
    EXPECT_EQ(dll.Error(), "failed to load  with error code 126");
}

}  // namespace
