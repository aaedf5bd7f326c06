#include "posix_faults.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <string>

#include "source_utilities/debugger_output.h"
#include "source_utilities/environment.h"
#include "source_utilities/environment_variables.h"
#include "source_utilities/file_system.h"
#include "source_utilities/local_time.h"
#include "source_utilities/log_call.h"
#include "source_utilities/process.h"
#include "source_utilities/source_utilities_error.h"
#include "source_utilities/trace_folders.h"
#include "source_utilities/uFile.h"
#include "source_utilities/uLogManager.h"
#include "source_utilities/uTime.h"

// The Linux bodies over system calls that fail.
namespace {

using namespace KORR_PLIM;

std::ptrdiff_t Handles() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

TEST_F(PosixFaults, FoldersThatCannotBeMade) {
    failing = {"mkdir"};
    EXPECT_FALSE(platform::MakeFolder(folder.File("a").c_str()));
    EXPECT_FALSE(platform::MakeTreeFolder(folder.File("a").c_str()));
    EXPECT_FALSE(CreateFolderTree(folder.File("a")));
    failureNumber = EEXIST;
    EXPECT_FALSE(platform::MakeFolder(folder.File("a").c_str()));
    EXPECT_TRUE(platform::MakeTreeFolder(folder.File("a").c_str()));
}
TEST_F(PosixFaults, FreeSpaceThatCannotBeAsked) {
    uint64_t bytes = 17;
    failing = {"statvfs"};
    EXPECT_FALSE(platform::FreeSpace(folder.Path().c_str(), bytes));
    EXPECT_EQ(bytes, 17U);
    failing.clear();
    EXPECT_FALSE(platform::FreeSpace(folder.File("missing").c_str(), bytes));
}
TEST_F(PosixFaults, WorkingFolderThatIsUnknownThrows) {
    failing = {"getcwd"};
    EXPECT_THROW(GetWorkingFolder(), source_utilities_error);
}
TEST_F(PosixFaults, FileThatCannotBeOpened) {
    uFile file;
    failing = {"fopen"};
    EXPECT_FALSE(file.Open(folder.File("a").c_str(), "w"));
    EXPECT_FALSE(file.IsOpen());
}
TEST_F(PosixFaults, FileThatCannotBeOpenedForReading) {
    const std::string name = folder.File("there");
    std::fclose(std::fopen(name.c_str(), "w"));
    const auto before = Handles();
    for (const char* call : {"open", "fstat", "fdopen"}) {
        failing = {call, "close"};
        errno = 0;
        EXPECT_EQ(platform::OpenShared(name.c_str(), "rb"), nullptr) << call;
        EXPECT_EQ(errno, failureNumber) << call;
    }
    failing.clear();
    EXPECT_EQ(Handles(), before);
}
TEST_F(PosixFaults, InterruptedOpenAndFreeSpaceAreRepeated) {
    const std::string name = folder.File("there");
    interrupted = {"fopen", "fopen", "open", "open", "statvfs", "statvfs"};
    for (const char* mode : {"w", "rb"}) {
        std::FILE* const stream = platform::OpenShared(name.c_str(), mode);
        ASSERT_NE(stream, nullptr) << mode;
        std::fclose(stream);
    }
    uint64_t bytes = 0;
    EXPECT_TRUE(platform::FreeSpace(folder.Path().c_str(), bytes));
    EXPECT_GT(bytes, 0U);
    EXPECT_EQ(interrupted.size(), 0U);
}
TEST_F(PosixFaults, WhatIsNoFileIsNotOpenedForReadingAndNotWaitedFor) {
    const std::string pipe = folder.File("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const auto before = Handles();
    const std::pair<std::string, int> places[] = {
        {folder.Path(), EISDIR}, {pipe, EINVAL}, {"/dev/null", EINVAL}, {"/dev/full", EINVAL}};
    for (const auto& [name, number] : places) {
        errno = 0;
        EXPECT_EQ(platform::OpenShared(name.c_str(), "rb"), nullptr) << name;
        EXPECT_EQ(errno, number) << name;
    }
    EXPECT_EQ(Handles(), before);
}
TEST_F(PosixFaults, FailedCloseLeavesTheFileReportedOpenAndHarmless) {
    uFile file;
    ASSERT_TRUE(file.Open(folder.File("a").c_str(), "w"));
    failing = {"fclose"};
    EXPECT_TRUE(file.Close());
    EXPECT_TRUE(file.IsOpen());
    failing.clear();
    EXPECT_EQ(file.Write("a", 1), 0);
    EXPECT_FALSE(file.WriteString("a"));
    EXPECT_FALSE(file.Flush());
    EXPECT_EQ(file.Length(), -1);
    EXPECT_FALSE(file.Close()) << "the stream is gone";
    EXPECT_FALSE(file.IsOpen());
}
TEST_F(PosixFaults, FailedFlushAndLengthAreReported) {
    uFile file;
    ASSERT_TRUE(file.Open(folder.File("a").c_str(), "w"));
    failing = {"fflush", "fstat"};
    EXPECT_FALSE(file.Flush());
    EXPECT_EQ(file.Length(), -1);
    failing.clear();
    EXPECT_TRUE(file.Close());
}
TEST_F(PosixFaults, FailedSeekAndPositionAreReported) {
    std::FILE* stream = platform::OpenShared(folder.File("a").c_str(), "w+");
    ASSERT_NE(stream, nullptr);
    failing = {"fseeko", "ftello"};
    EXPECT_FALSE(platform::SeekStream(stream, 1));
    EXPECT_EQ(platform::StreamPosition(stream), -1);
    failing.clear();
    EXPECT_TRUE(platform::SeekStream(stream, 1));
    EXPECT_EQ(platform::StreamPosition(stream), 1);
    std::fclose(stream);
}
TEST_F(PosixFaults, TimeThatCannotBeToldIsAllZeros) {
    for (const char* call : {"clock_gettime", "localtime_r"}) {
        failing = {call};
        const platform::LocalTime now = platform::ReadLocalTime();
        EXPECT_EQ(now.year, 0) << call;
        EXPECT_EQ(now.month, 0) << call;
        EXPECT_EQ(now.day, 0) << call;
        EXPECT_EQ(now.hour, 0) << call;
        EXPECT_EQ(now.millisecond, 0) << call;
        const uTime never;
        char text[40] = "";
        EXPECT_STREQ(uTime::Format(text, sizeof text, "%m/%d/%y %j"), "00/00/00 001") << call;
    }
}
TEST_F(PosixFaults, FullDeviceIsReportedByFlush) {
    uFile file;
    ASSERT_TRUE(file.Open("/dev/full", "w"));
    EXPECT_EQ(file.Write("abc", 3), 3) << "into the stream's buffer";
    EXPECT_FALSE(file.Flush());
    file.Close();
}
TEST_F(PosixFaults, VariableThatCannotBeSetThrows) {
    failing = {"setenv"};
    EXPECT_THROW(SetEnvironment("KORR_A", "b"), source_utilities_error);
}
TEST_F(PosixFaults, VariableLongerThanTheLimitReadsAsEmpty) {
    ASSERT_TRUE(platform::SetVariable("KORR_LONG", std::string(32767, 'x').c_str()));
    EXPECT_EQ(platform::GetVariable("KORR_LONG").size(), 32767U);
    ASSERT_TRUE(platform::SetVariable("KORR_LONG", std::string(32768, 'x').c_str()));
    EXPECT_EQ(platform::GetVariable("KORR_LONG"), "");
    platform::SetVariable("KORR_LONG", "");
}
TEST_F(PosixFaults, FreeSpaceIsWhatTheCallerMayTake) {
    struct statvfs small {};
    small.f_bsize = 4096;
    small.f_frsize = 512;
    small.f_blocks = 5'000'000'001;
    small.f_bfree = 5'000'000'002;
    small.f_bavail = 5'000'000'003;
    pretendedVolume = small;
    uint64_t bytes = 0;
    EXPECT_TRUE(platform::FreeSpace(folder.Path().c_str(), bytes));
    EXPECT_EQ(bytes, 5'000'000'003U * 512);
}
TEST_F(PosixFaults, TimeIsThatOfTheTimeZoneFieldByField) {
    ASSERT_TRUE(platform::SetVariable("TZ", "TST-3:30"));
    tzset();
    pretendedTime = timespec{1805154598, 998'765'432};  // 2027-03-15 23:49:58 UTC
    const platform::LocalTime local = platform::ReadLocalTime();
    EXPECT_EQ(local.year, 2027);
    EXPECT_EQ(local.month, 3);
    EXPECT_EQ(local.day, 16);
    EXPECT_EQ(local.dayOfWeek, 2);
    EXPECT_EQ(local.hour, 3);
    EXPECT_EQ(local.minute, 19);
    EXPECT_EQ(local.second, 58);
    EXPECT_EQ(local.millisecond, 998);
    unsetenv("TZ");
    tzset();
}
TEST_F(PosixFaults, ConsoleIsFlushedWithEachLine) {
    uLogger logger(folder.File("log.txt"), true);
    const int before = stdoutFlushes;
    logger.Log(1, 0, "to the file alone");
    EXPECT_EQ(stdoutFlushes, before);
    logger.SetConsole(true);
    logger.Log(1, 0, "to the console");
    EXPECT_EQ(stdoutFlushes, before + 1);
    logger.Log(1, 0, "and once more");
    EXPECT_EQ(stdoutFlushes, before + 2);
}
TEST_F(PosixFaults, LinesBelowTheirLevelTakeNoLock) {
    SetEnvironment("USERPROFILE", folder.Path().c_str());
    SetEnvironment("LOG_DIR", folder.Path().c_str());
    SetEnvironment("LEVEL", "1");
    ASSERT_TRUE(uLogManager::Instance().Open("log.txt", "LEVEL", "LOG_DIR", true));
    const int before = lockCalls;
    LogMessage(kLogChatty, "%s: chatty", "tag");
    LogMessage(kLogTrace, "%s: trace", "tag");
    EXPECT_EQ(lockCalls, before);
    LogMessage(kLogOrdinary, "%s: ordinary", "tag");
    EXPECT_GT(lockCalls, before);
    uLogManager::Instance().CurrentLogger()->SetEnabled(false);
}
TEST_F(PosixFaults, LoggerSurvivesAFailingFile) {
    uLogger logger(folder.File("log.txt"), true);
    failing = {"fopen"};
    logger.Log(kLogMessage, 2, "lost");
    failing = {"fflush"};
    logger.Log(kLogMessage, 0, "kept");
    failing = {"fclose"};
    EXPECT_TRUE(logger.SetEnabled(false));
    failing.clear();
    logger.SetEnabled(true);
    logger.Log(kLogMessage, 0, "again");
    EXPECT_EQ(ReadText(folder.File("log.txt")), "M      kept\nM      again\n");
}
TEST_F(PosixFaults, TextThatCannotBeWrittenIsLost) {
    uFile file;
    ASSERT_TRUE(file.Open(folder.File("a").c_str(), "w"));
    failing = {"fputs"};
    platform::WriteToDebugger("lost\n");
    EXPECT_FALSE(file.WriteString("lost"));
    failing.clear();
    EXPECT_TRUE(file.WriteString("kept"));
    file.Close();
    EXPECT_EQ(ReadText(folder.File("a")), "kept");
}

}  // namespace
