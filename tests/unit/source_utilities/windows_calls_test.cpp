#include <direct.h>
#include <gtest/gtest.h>
#include <process.h>
#include <windows.h>

#include <tlhelp32.h>

#include <algorithm>
#include <atomic>
#include <set>
#include <string>
#include <vector>

#include "source_utilities/debugger_output.h"
#include "source_utilities/dynamic_library.h"
#include "source_utilities/environment.h"
#include "source_utilities/environment_variables.h"
#include "source_utilities/file_system.h"
#include "source_utilities/local_time.h"
#include "source_utilities/process.h"
#include "source_utilities/source_utilities_error.h"
#include "source_utilities/uDll.h"
#include "source_utilities/uThread.h"
#include "temporary_folder.h"

// The Windows bodies over calls that are noted, and fail on demand: this program defines the import pointers
// of the calls itself.
namespace {

std::vector<std::string> calls;
std::set<std::string> failing;
std::atomic<bool> noting{false};

template <typename... Arguments>
bool Note(const char* call, const Arguments&... arguments) {
    if (noting) {
        std::string text = call;
        ((text += std::string(" ") + arguments), ...);
        calls.push_back(text);
    }
    return failing.count(call) != 0;
}
std::string Number(uint64_t number) { return std::to_string(number); }
const char* Text(const char* text) { return text != nullptr ? text : "null"; }

/// The system's own function of that name.
template <typename Function>
Function* Real(const char* library, const char* name) {
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleA(library), name)));
}
#define REAL(name) Real<decltype(::name)>("kernel32.dll", #name)

HANDLE WINAPI MySnapshot(DWORD flags, DWORD process) {
    return Note("CreateToolhelp32Snapshot", Number(flags), Number(process))
               ? INVALID_HANDLE_VALUE
               : REAL(CreateToolhelp32Snapshot)(flags, process);
}
BOOL WINAPI MyFirst(HANDLE snapshot, LPPROCESSENTRY32 entry) {
    return Note("Process32First") ? FALSE : REAL(Process32First)(snapshot, entry);
}
BOOL WINAPI MyNext(HANDLE snapshot, LPPROCESSENTRY32 entry) {
    return Note("Process32Next") ? FALSE : REAL(Process32Next)(snapshot, entry);
}
BOOL WINAPI MyCloseHandle(HANDLE handle) {
    Note("CloseHandle");
    return REAL(CloseHandle)(handle);
}
DWORD WINAPI MyGetVariable(LPCSTR name, LPSTR buffer, DWORD size) {
    return Note("GetEnvironmentVariableA", name, Number(size))
               ? 0
               : REAL(GetEnvironmentVariableA)(name, buffer, size);
}
BOOL WINAPI MySetVariable(LPCSTR name, LPCSTR value) {
    return Note("SetEnvironmentVariableA", name, value) ? FALSE : REAL(SetEnvironmentVariableA)(name, value);
}
BOOL WINAPI MyCreateDirectory(LPCSTR path, LPSECURITY_ATTRIBUTES attributes) {
    return Note("CreateDirectoryA", path) ? FALSE : REAL(CreateDirectoryA)(path, attributes);
}
BOOL WINAPI MyFreeSpace(LPCSTR folder, PULARGE_INTEGER available, PULARGE_INTEGER total,
                        PULARGE_INTEGER free) {
    return Note("GetDiskFreeSpaceExA", folder) ? FALSE
                                               : REAL(GetDiskFreeSpaceExA)(folder, available, total, free);
}
void WINAPI MyDebugString(LPCSTR text) { Note("OutputDebugStringA", text); }
void WINAPI MyLocalTime(LPSYSTEMTIME time) {
    Note("GetLocalTime");
    *time = {2027, 3, 1, 15, 23, 59, 58, 998};
}
BOOL WINAPI MySetPriority(HANDLE thread, int priority) {
    return Note("SetThreadPriority", std::to_string(priority)) ? FALSE
                                                               : REAL(SetThreadPriority)(thread, priority);
}
DWORD WINAPI MyResume(HANDLE thread) {
    return Note("ResumeThread") ? static_cast<DWORD>(-1) : REAL(ResumeThread)(thread);
}
void WINAPI MySleep(DWORD milliseconds) {
    Note("Sleep", Number(milliseconds));
    REAL(Sleep)(milliseconds);
}
HMODULE WINAPI MyLoadLibrary(LPCSTR name) {
    if (Note("LoadLibraryA", Text(name))) {
        ::SetLastError(ERROR_BAD_EXE_FORMAT);
        return nullptr;
    }
    return REAL(LoadLibraryA)(name);
}
BOOL WINAPI MyFreeLibrary(HMODULE module) {
    Note("FreeLibrary");
    return REAL(FreeLibrary)(module);
}

#define REAL_CRT(name) Real<decltype(::name)>("msvcrt.dll", #name)
std::uintptr_t MyBeginThread(void* security, unsigned stack, unsigned(__stdcall* entry)(void*),
                             void* argument, unsigned flags, unsigned* id) {
    return Note("_beginthreadex", Number(stack), Number(flags))
               ? 0
               : REAL_CRT(_beginthreadex)(security, stack, entry, argument, flags, id);
}
int MyMakeFolder(const char* path) {
    if (Note("_mkdir", path)) {
        errno = EACCES;
        return -1;
    }
    return REAL_CRT(_mkdir)(path);
}
char* MyWorkingFolder(char* buffer, int size) {
    return Note("_getcwd", Number(static_cast<uint64_t>(size))) ? nullptr : REAL_CRT(_getcwd)(buffer, size);
}
FILE* MyOpen(const char* name, const char* mode, int share) {
    return Note("_fsopen", mode, Number(static_cast<uint64_t>(share))) ? nullptr
                                                                       : REAL_CRT(_fsopen)(name, mode, share);
}

__int64 MyLength(int file) { return Note("_filelengthi64") ? -1 : REAL_CRT(_filelengthi64)(file); }
int MySeek(FILE* stream, __int64 offset, int origin) {
    return Note("_fseeki64", Number(static_cast<uint64_t>(origin)))
               ? -1
               : REAL_CRT(_fseeki64)(stream, offset, origin);
}
__int64 MyTell(FILE* stream) { return Note("_ftelli64") ? -1 : REAL_CRT(_ftelli64)(stream); }

class Flag : public KORR_PLIM::uRunnable {
  public:
    void Run() override { ran = true; }
    std::atomic<bool> ran{false};
};

}  // namespace

extern "C" {
void* __imp_CloseHandle = reinterpret_cast<void*>(&MyCloseHandle);
void* __imp_GetEnvironmentVariableA = reinterpret_cast<void*>(&MyGetVariable);
void* __imp_SetEnvironmentVariableA = reinterpret_cast<void*>(&MySetVariable);
void* __imp_CreateDirectoryA = reinterpret_cast<void*>(&MyCreateDirectory);
void* __imp_GetDiskFreeSpaceExA = reinterpret_cast<void*>(&MyFreeSpace);
void* __imp_OutputDebugStringA = reinterpret_cast<void*>(&MyDebugString);
void* __imp_GetLocalTime = reinterpret_cast<void*>(&MyLocalTime);
void* __imp_SetThreadPriority = reinterpret_cast<void*>(&MySetPriority);
void* __imp_ResumeThread = reinterpret_cast<void*>(&MyResume);
void* __imp_Sleep = reinterpret_cast<void*>(&MySleep);
void* __imp_LoadLibraryA = reinterpret_cast<void*>(&MyLoadLibrary);
void* __imp__beginthreadex = reinterpret_cast<void*>(&MyBeginThread);
void* __imp__mkdir = reinterpret_cast<void*>(&MyMakeFolder);
void* __imp__getcwd = reinterpret_cast<void*>(&MyWorkingFolder);
void* __imp__fsopen = reinterpret_cast<void*>(&MyOpen);
void* __imp_FreeLibrary = reinterpret_cast<void*>(&MyFreeLibrary);

// The runtime library defines these pointers itself; the linker wraps them.
void* __wrap___imp__filelengthi64 = reinterpret_cast<void*>(&MyLength);
void* __wrap___imp__fseeki64 = reinterpret_cast<void*>(&MySeek);
void* __wrap___imp__ftelli64 = reinterpret_cast<void*>(&MyTell);

// These are called without an import pointer; the linker wraps them.
HANDLE WINAPI __wrap_CreateToolhelp32Snapshot(DWORD flags, DWORD process) {
    return MySnapshot(flags, process);
}
BOOL WINAPI __wrap_Process32First(HANDLE snapshot, LPPROCESSENTRY32 entry) {
    return MyFirst(snapshot, entry);
}
BOOL WINAPI __wrap_Process32Next(HANDLE snapshot, LPPROCESSENTRY32 entry) { return MyNext(snapshot, entry); }
}

namespace {

using namespace KORR_PLIM;
using Calls = std::vector<std::string>;

class WindowsCalls : public testing::Test {
  protected:
    WindowsCalls() { Begin({}); }
    ~WindowsCalls() override {
        noting = false;
        failing.clear();
    }
    static void Begin(const std::set<std::string>& fail) {
        failing = fail;
        calls.clear();
        noting = true;
    }
    /// The calls since Begin; noting ends.
    static Calls Noted() {
        noting = false;
        failing.clear();
        return calls;
    }
    TemporaryFolder folder;
};

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
TEST_F(WindowsCalls, ThreadIsCreatedSuspendedThenResumed) {
    Flag flag;
    {
        uThread thread(&flag, 2, 65536);
        EXPECT_TRUE(thread.Start());
        while (!flag.ran) {
            REAL(Sleep)(1);
        }
    }
    EXPECT_EQ(Noted(),
              (Calls{"_beginthreadex 65536 4", "SetThreadPriority 2", "ResumeThread", "CloseHandle"}));
}
TEST_F(WindowsCalls, ThreadThatCannotBeCreatedFailsTheStart) {
    Flag flag;
    Begin({"_beginthreadex"});
    { EXPECT_FALSE(uThread(&flag).Start()); }
    // The hold on this module that the thread would have had is given back.
    EXPECT_EQ(Noted(), (Calls{"_beginthreadex 0 4", "FreeLibrary"}));
}
TEST_F(WindowsCalls, RefusedPriorityDoesNotKeepTheThreadFromRunning) {
    Flag flag;
    uThread thread(&flag);
    Begin({"SetThreadPriority"});
    EXPECT_TRUE(thread.Start());
    while (!flag.ran) {
        REAL(Sleep)(1);
    }
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

}  // namespace
