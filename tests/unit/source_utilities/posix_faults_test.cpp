#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "source_utilities/dynamic_library.h"
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
#include "source_utilities/uThread.h"
#include "source_utilities/uTime.h"
#include "temporary_folder.h"

// The Linux bodies over system calls that fail: this program is linked so that each call below goes through
// a __wrap_ function.
namespace {

std::set<std::string> failing;           ///< names of the calls that fail
std::multiset<std::string> interrupted;  ///< names of the calls that a signal interrupts, once each
int failureNumber = EIO;
std::atomic<int> lockCalls{0};
std::vector<std::string> opened;  ///< what dlopen was asked for

bool Fails(const char* call) {
    const auto signal = interrupted.find(call);
    if (signal != interrupted.end()) {
        interrupted.erase(signal);
        errno = EINTR;
        return true;
    }
    if (failing.count(call) == 0) {
        return false;
    }
    errno = failureNumber;
    return true;
}

}  // namespace

extern "C" {
int __real_mkdir(const char*, mode_t);
int __wrap_mkdir(const char* path, mode_t mode) { return Fails("mkdir") ? -1 : __real_mkdir(path, mode); }
int __real_statvfs(const char*, struct statvfs*);
int __wrap_statvfs(const char* path, struct statvfs* volume) {
    return Fails("statvfs") ? -1 : __real_statvfs(path, volume);
}
char* __real_getcwd(char*, size_t);
char* __wrap_getcwd(char* buffer, size_t size) {
    return Fails("getcwd") ? nullptr : __real_getcwd(buffer, size);
}
FILE* __real_fopen(const char*, const char*);
FILE* __wrap_fopen(const char* name, const char* mode) {
    return Fails("fopen") ? nullptr : __real_fopen(name, mode);
}
int __real_open(const char*, int, mode_t);
int __wrap_open(const char* name, int flags, mode_t mode) {
    return Fails("open") ? -1 : __real_open(name, flags, mode);
}
FILE* __real_fdopen(int, const char*);
FILE* __wrap_fdopen(int file, const char* mode) {
    return Fails("fdopen") ? nullptr : __real_fdopen(file, mode);
}
int __real_fclose(FILE*);
int __wrap_fclose(FILE* stream) {
    const int result = __real_fclose(stream);
    return Fails("fclose") ? EOF : result;
}
int __real_fflush(FILE*);
int __wrap_fflush(FILE* stream) { return Fails("fflush") ? EOF : __real_fflush(stream); }
int __real_fstat(int, struct stat*);
int __wrap_fstat(int file, struct stat* status) { return Fails("fstat") ? -1 : __real_fstat(file, status); }
int __real_fseeko(FILE*, off_t, int);
int __wrap_fseeko(FILE* stream, off_t offset, int origin) {
    return Fails("fseeko") ? -1 : __real_fseeko(stream, offset, origin);
}
off_t __real_ftello(FILE*);
off_t __wrap_ftello(FILE* stream) { return Fails("ftello") ? -1 : __real_ftello(stream); }
int __real_clock_gettime(clockid_t, timespec*);
int __wrap_clock_gettime(clockid_t clock, timespec* time) {
    return Fails("clock_gettime") ? -1 : __real_clock_gettime(clock, time);
}
std::tm* __real_localtime_r(const time_t*, std::tm*);
std::tm* __wrap_localtime_r(const time_t* time, std::tm* local) {
    return Fails("localtime_r") ? nullptr : __real_localtime_r(time, local);
}
int __real_setenv(const char*, const char*, int);
int __wrap_setenv(const char* name, const char* value, int overwrite) {
    return Fails("setenv") ? -1 : __real_setenv(name, value, overwrite);
}
int __real_kill(pid_t, int);
int __wrap_kill(pid_t id, int signal) { return Fails("kill") ? -1 : __real_kill(id, signal); }
int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                          void* argument) {
    return Fails("pthread_create") ? EAGAIN : __real_pthread_create(thread, attributes, entry, argument);
}
int __real_setpriority(__priority_which_t, id_t, int);
int __wrap_setpriority(__priority_which_t which, id_t who, int nice) {
    return Fails("setpriority") ? -1 : __real_setpriority(which, who, nice);
}
int __real_nanosleep(const timespec*, timespec*);
int __wrap_nanosleep(const timespec* time, timespec* left) {
    if (failing.erase("nanosleep") != 0) {
        *left = {0, 3'000'000};
        errno = EINTR;
        return -1;
    }
    return __real_nanosleep(time, left);
}
void* __real_dlopen(const char*, int);
void* __wrap_dlopen(const char* name, int mode) {
    opened.emplace_back(name);
    return Fails("dlopen") ? nullptr : __real_dlopen(name, mode);
}
int __real_dladdr(const void*, Dl_info*);
int __wrap_dladdr(const void* address, Dl_info* info) {
    return Fails("dladdr") ? 0 : __real_dladdr(address, info);
}
int __real_pthread_mutex_lock(pthread_mutex_t*);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    ++lockCalls;
    return __real_pthread_mutex_lock(mutex);
}
}

namespace {

using namespace KORR_PLIM;

class PosixFaults : public testing::Test {
  protected:
    PosixFaults() { Forget(); }
    ~PosixFaults() override { Forget(); }
    static void Forget() {
        failing.clear();
        interrupted.clear();
        failureNumber = EIO;
        opened.clear();
    }
    TemporaryFolder folder;
};

class Flag : public uRunnable {
  public:
    void Run() override { ran = true; }
    std::atomic<bool> ran{false};
};

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
    const auto handles = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto before = handles();
    for (const char* call : {"open", "fdopen"}) {
        failing = {call};
        errno = 0;
        EXPECT_EQ(platform::OpenShared(name.c_str(), "rb"), nullptr) << call;
        EXPECT_EQ(errno, failureNumber) << call;
    }
    EXPECT_EQ(handles(), before);
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
TEST_F(PosixFaults, PipeInTheFilesPlaceIsNotWaitedFor) {
    const std::string name = folder.File("pipe");
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    char byte = 0;
    std::FILE* reader = platform::OpenShared(name.c_str(), "rb");
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(std::fread(&byte, 1, 1, reader), 0U) << "nobody has it open to write";
    std::FILE* writer = platform::OpenShared(name.c_str(), "r+b");
    ASSERT_NE(writer, nullptr);
    std::clearerr(reader);
    EXPECT_EQ(std::fread(&byte, 1, 1, reader), 0U) << "the writer has written nothing";
    EXPECT_NE(std::ferror(reader), 0);
    std::fclose(writer);
    std::fclose(reader);
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
TEST_F(PosixFaults, ProcessOfAnotherUserExists) {
    failing = {"kill"};
    failureNumber = EPERM;
    EXPECT_TRUE(platform::ProcessExists(1));
    failureNumber = ESRCH;
    EXPECT_FALSE(platform::ProcessExists(1));
}
TEST_F(PosixFaults, ThreadThatCannotBeCreatedFailsTheStart) {
    Flag flag;
    uThread thread(&flag);
    failing = {"pthread_create"};
    EXPECT_FALSE(thread.Start());
    EXPECT_FALSE(flag.ran);
}
TEST_F(PosixFaults, RefusedPriorityDoesNotKeepTheThreadFromRunning) {
    for (const int priority : {2, 77}) {
        Flag flag;
        uThread thread(&flag, priority);
        failing = {"setpriority"};
        EXPECT_TRUE(thread.Start());
        while (!flag.ran) {
            uThread::Yield();
        }
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

}  // namespace
