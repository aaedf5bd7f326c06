#include "windows_calls.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>

#include "source_utilities/debugger_output.h"
#include "source_utilities/environment.h"
#include "source_utilities/environment_variables.h"
#include "source_utilities/file_system.h"
#include "source_utilities/local_time.h"
#include "source_utilities/process.h"
#include "source_utilities/source_utilities_error.h"

// The Windows bodies over the platform's calls: which ones they make, and what each failure leads to.
namespace {

using namespace KORR_PLIM;

TEST_F(WindowsCalls, ProcessIsLookedForInASnapshotThatIsClosed) {
    EXPECT_TRUE(platform::ProcessExists(::GetCurrentProcessId()));
    const Calls noted = Noted();
    ASSERT_GE(noted.size(), 3U);
    EXPECT_EQ(noted[0], "CreateToolhelp32Snapshot 2 0");
    EXPECT_EQ(noted[1], "Process32First");
    EXPECT_EQ(noted.back(), "CloseHandle");
    EXPECT_EQ(std::count(noted.begin(), noted.end(), "CloseHandle"), 1);
}
TEST_F(WindowsCalls, SnapshotIsClosedWhenTheProcessIsMissingOrTheWalkFails) {
    EXPECT_FALSE(platform::ProcessExists(0xFFFFFFF1));
    EXPECT_EQ(Noted().back(), "CloseHandle");
    Begin({"Process32First"});
    EXPECT_FALSE(platform::ProcessExists(::GetCurrentProcessId()));
    EXPECT_EQ(Noted(), (Calls{"CreateToolhelp32Snapshot 2 0", "Process32First", "CloseHandle"}));
    Begin({"Process32Next"});
    EXPECT_FALSE(platform::ProcessExists(0xFFFFFFF1));
    EXPECT_EQ(Noted(),
              (Calls{"CreateToolhelp32Snapshot 2 0", "Process32First", "Process32Next", "CloseHandle"}));
}
TEST_F(WindowsCalls, SnapshotThatCannotBeClosedIsGivenUpAndTheAnswerHolds) {
    Begin({"CloseHandle"});
    EXPECT_TRUE(platform::ProcessExists(::GetCurrentProcessId()));
    const Calls noted = Noted();
    EXPECT_EQ(std::count(noted.begin(), noted.end(), "CloseHandle"), 1);
}
TEST_F(WindowsCalls, FailedSnapshotCountsAsNotFound) {
    Begin({"CreateToolhelp32Snapshot"});
    EXPECT_FALSE(platform::ProcessExists(::GetCurrentProcessId()));
    EXPECT_EQ(Noted(), (Calls{"CreateToolhelp32Snapshot 2 0"}));
}
TEST_F(WindowsCalls, ProcessZeroNeverExists) { EXPECT_FALSE(platform::ProcessExists(0)); }
TEST_F(WindowsCalls, VariablesAreReadIntoThirtyTwoKilobytes) {
    SetEnvironment("KORR_A", "value");
    const std::string value = GetEnvironment("KORR_A");
    EXPECT_EQ(Noted(),
              (Calls{"SetEnvironmentVariableA KORR_A value", "GetEnvironmentVariableA KORR_A 32768"}));
    EXPECT_EQ(value, "value");
}
TEST_F(WindowsCalls, VariableThatCannotBeReadIsEmpty) {
    platform::SetVariable("KORR_A", "value");
    Begin({"GetEnvironmentVariableA"});
    EXPECT_STREQ(GetEnvironment("KORR_A"), "");
}
TEST_F(WindowsCalls, VariableThatCannotBeSetThrows) {
    Begin({"SetEnvironmentVariableA"});
    EXPECT_THROW(SetEnvironment("KORR_A", "b"), source_utilities_error);
}
TEST_F(WindowsCalls, FoldersAreMadeByTheirOwnCalls) {
    const std::string path = folder.File("a");
    EXPECT_TRUE(platform::MakeFolder(path.c_str()));
    EXPECT_TRUE(platform::MakeTreeFolder(path.c_str()));
    EXPECT_EQ(Noted(), (Calls{"CreateDirectoryA " + path, "_mkdir " + path}));
    Begin({"CreateDirectoryA", "_mkdir"});
    EXPECT_FALSE(platform::MakeFolder(folder.File("b").c_str()));
    EXPECT_FALSE(platform::MakeTreeFolder(folder.File("b").c_str()));
}
TEST_F(WindowsCalls, FreeSpaceThatCannotBeAsked) {
    uint64_t bytes = 17;
    Begin({"GetDiskFreeSpaceExA"});
    EXPECT_FALSE(platform::FreeSpace("C:\\", bytes));
    EXPECT_EQ(Noted(), (Calls{"GetDiskFreeSpaceExA C:\\"}));
    EXPECT_EQ(bytes, 17U);
    EXPECT_FALSE(platform::FreeSpace(folder.File("missing").c_str(), bytes));
}
TEST_F(WindowsCalls, FreeSpaceIsWhatTheCallerMayTake) {
    uint64_t bytes = 0;
    pretendsVolume = true;
    EXPECT_TRUE(platform::FreeSpace("C:\\", bytes));
    pretendsVolume = false;
    EXPECT_EQ(bytes, 5'000'000'003U);
}
TEST_F(WindowsCalls, OwnProcessIdIsTheSystemsWord) {
    EXPECT_EQ(platform::CurrentProcessId(), ::GetCurrentProcessId());
}
TEST_F(WindowsCalls, WorkingFolderIsReadInto260Bytes) {
    std::string name;
    EXPECT_TRUE(platform::WorkingFolder(name));
    EXPECT_EQ(Noted(), (Calls{"_getcwd 260"}));
    Begin({"_getcwd"});
    EXPECT_FALSE(platform::WorkingFolder(name));
}
TEST_F(WindowsCalls, StreamsAreOpenedWithoutDenyingAnything) {
    std::FILE* stream = platform::OpenShared(folder.File("a").c_str(), "wb");
    EXPECT_EQ(Noted(), (Calls{"_fsopen wb 64"}));
    ASSERT_NE(stream, nullptr);
    std::fclose(stream);
    Begin({"_fsopen"});
    EXPECT_EQ(platform::OpenShared(folder.File("a").c_str(), "wb"), nullptr);
}
TEST_F(WindowsCalls, LengthSeekAndPositionAreAskedInSixtyFourBits) {
    std::FILE* stream = platform::OpenShared(folder.File("a").c_str(), "w+b");
    ASSERT_NE(stream, nullptr);
    Begin({});
    EXPECT_EQ(platform::StreamLength(stream), 0);
    EXPECT_TRUE(platform::SeekStream(stream, 5'000'000'000));
    EXPECT_EQ(platform::StreamPosition(stream), 5'000'000'000);
    EXPECT_EQ(Noted(), (Calls{"_filelengthi64", "_fseeki64 0", "_ftelli64"}));
    Begin({"_filelengthi64", "_fseeki64", "_ftelli64"});
    EXPECT_EQ(platform::StreamLength(stream), -1);
    EXPECT_FALSE(platform::SeekStream(stream, 1));
    EXPECT_EQ(platform::StreamPosition(stream), -1);
    Noted();
    std::fclose(stream);
}
TEST_F(WindowsCalls, DebuggerGetsTheText) {
    platform::WriteToDebugger("a line\n");
    EXPECT_EQ(Noted(), (Calls{"OutputDebugStringA a line\n"}));
}
TEST_F(WindowsCalls, LocalTimeIsTakenFieldByField) {
    const auto now = platform::ReadLocalTime();
    EXPECT_EQ(Noted(), (Calls{"GetLocalTime"}));
    EXPECT_EQ(now.year, 2027);
    EXPECT_EQ(now.month, 3);
    EXPECT_EQ(now.dayOfWeek, 1);
    EXPECT_EQ(now.day, 15);
    EXPECT_EQ(now.hour, 23);
    EXPECT_EQ(now.minute, 59);
    EXPECT_EQ(now.second, 58);
    EXPECT_EQ(now.millisecond, 998);
}

}  // namespace
