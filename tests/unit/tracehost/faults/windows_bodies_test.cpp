#include <gtest/gtest.h>
#include <windows.h>
// windows.h comes first
#include <tlhelp32.h>
#include <winioctl.h>
#include <winternl.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <random>
#include <set>
#include <string_view>
#include <thread>

#include "tracehost/capture_thread.h"
#include "tracehost/check/platform.h"
#include "tracehost/file_access.h"
#include "tracehost/folder_hold.h"
#include "tracehost/log_space.h"
#include "tracehost/own_process.h"
#include "tracehost/platform_words.h"
#include "tracehost/port_access.h"
#include "tracehost/port_list.h"
#include "tracehost/temporary_folder.h"

namespace {

const HANDLE kPort = reinterpret_cast<HANDLE>(std::intptr_t{0x7A0001});

/// The platform below the bodies, whose calls come here first.
struct Platform {
    std::map<std::string, DWORD> failures;  ///< error number of the next call by its name
    std::set<HANDLE> open;                  ///< by CreateFileA and CreateToolhelp32Snapshot
    std::vector<std::string> ports;         ///< that were opened
    bool takesControls = false;             ///< DeviceIoControl is kept here
    std::vector<NTSTATUS> queryAnswers;  ///< of the next calls of NtQuerySystemInformation; then the system's
    std::vector<ULONG> queryRooms;       ///< bytes that those calls had room for
    std::vector<std::pair<DWORD, std::string>> controls;

    bool MustFail(const char* call) {
        const auto found = failures.find(call);
        if (found == failures.end()) return false;
        SetLastError(found->second);
        failures.erase(found);
        return true;
    }
    HANDLE Opened(HANDLE handle) {
        if (handle != INVALID_HANDLE_VALUE) open.insert(handle);
        return handle;
    }
};
Platform platform;
std::thread::id testThread;  // other threads' calls go on to the system

bool IsOfTest() { return std::this_thread::get_id() == testThread; }

}  // namespace

extern "C" {
decltype(::CreateFileA) __real_CreateFileA;
decltype(::CloseHandle) __real_CloseHandle;
decltype(::DeviceIoControl) __real_DeviceIoControl;
decltype(::GetFileInformationByHandle) __real_GetFileInformationByHandle;
decltype(::CreateToolhelp32Snapshot) __real_CreateToolhelp32Snapshot;
decltype(::Thread32First) __real_Thread32First;
decltype(::GetProcAddress) __real_GetProcAddress;
decltype(::GetProcessHeaps) __real_GetProcessHeaps;
decltype(::HeapLock) __real_HeapLock;
decltype(::HeapWalk) __real_HeapWalk;

HANDLE WINAPI __wrap_CreateFileA(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                                 DWORD disposition, DWORD flags, HANDLE pattern) {
    if (!IsOfTest()) return __real_CreateFileA(name, access, share, security, disposition, flags, pattern);
    const bool isPort = std::string_view(name).starts_with(R"(\\.\COM)");
    if (isPort) platform.ports.emplace_back(name);
    if (platform.MustFail("CreateFileA")) return INVALID_HANDLE_VALUE;
    return platform.Opened(
        isPort ? kPort : __real_CreateFileA(name, access, share, security, disposition, flags, pattern));
}

BOOL WINAPI __wrap_CloseHandle(HANDLE handle) {
    if (IsOfTest()) platform.open.erase(handle);
    return handle == kPort ? TRUE : __real_CloseHandle(handle);
}

BOOL WINAPI __wrap_DeviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out,
                                   DWORD outSize, LPDWORD returned, LPOVERLAPPED overlapped) {
    if (platform.MustFail(code == FSCTL_SET_SPARSE ? "sparse" : "zeros")) return FALSE;
    if (!platform.takesControls) {
        return __real_DeviceIoControl(device, code, in, inSize, out, outSize, returned, overlapped);
    }
    EXPECT_EQ(platform.open.count(device), 1u);
    platform.controls.emplace_back(code, std::string(static_cast<const char*>(in), inSize));
    return TRUE;
}

BOOL WINAPI __wrap_GetFileInformationByHandle(HANDLE file, LPBY_HANDLE_FILE_INFORMATION info) {
    if (IsOfTest() && platform.MustFail("GetFileInformationByHandle")) return FALSE;
    return __real_GetFileInformationByHandle(file, info);
}

HANDLE WINAPI __wrap_CreateToolhelp32Snapshot(DWORD what, DWORD process) {
    if (platform.MustFail("CreateToolhelp32Snapshot")) return INVALID_HANDLE_VALUE;
    return platform.Opened(__real_CreateToolhelp32Snapshot(what, process));
}

BOOL WINAPI __wrap_Thread32First(HANDLE snapshot, LPTHREADENTRY32 entry) {
    return platform.MustFail("Thread32First") ? FALSE : __real_Thread32First(snapshot, entry);
}

NTSTATUS NTAPI QuerySystem(SYSTEM_INFORMATION_CLASS what, PVOID answer, ULONG room, PULONG needed) {
    platform.queryRooms.push_back(room);
    if (!platform.queryAnswers.empty()) {
        const NTSTATUS status = platform.queryAnswers.front();
        platform.queryAnswers.erase(platform.queryAnswers.begin());
        return status;
    }
    const FARPROC real = __real_GetProcAddress(GetModuleHandleA("ntdll.dll"), "NtQuerySystemInformation");
    return reinterpret_cast<decltype(&QuerySystem)>(reinterpret_cast<void*>(real))(what, answer, room,
                                                                                   needed);
}

FARPROC WINAPI __wrap_GetProcAddress(HMODULE module, LPCSTR name) {
    const bool isOrdinal = (reinterpret_cast<std::uintptr_t>(name) >> 16) == 0;
    if (!IsOfTest() || isOrdinal || std::string_view(name) != "NtQuerySystemInformation") {
        return __real_GetProcAddress(module, name);
    }
    if (platform.MustFail("GetProcAddress")) return nullptr;
    return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&QuerySystem));
}

DWORD WINAPI __wrap_GetProcessHeaps(DWORD room, PHANDLE heaps) {
    return platform.MustFail("GetProcessHeaps") ? 0 : __real_GetProcessHeaps(room, heaps);
}

BOOL WINAPI __wrap_HeapLock(HANDLE heap) {
    return platform.MustFail("HeapLock") ? FALSE : __real_HeapLock(heap);
}

BOOL WINAPI __wrap_HeapWalk(HANDLE heap, LPPROCESS_HEAP_ENTRY entry) {
    return platform.MustFail("HeapWalk") ? FALSE : __real_HeapWalk(heap, entry);
}

BOOL WINAPI __wrap_GetCommState(HANDLE port, LPDCB state) {
    EXPECT_EQ(port, kPort);
    EXPECT_EQ(state->DCBlength, sizeof(DCB));
    return platform.MustFail("GetCommState") ? FALSE : TRUE;
}
}

namespace Korr::Plim::Trace::Tracehost {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr const char* kHeldFolder = "TARNEL_HELD_FOLDER";  // for the process that holds a folder until killed
constexpr auto kLimit = 60s;                               // machines can be busy

void Write(const fs::path& file, std::string_view text) { std::ofstream(file, std::ios::binary) << text; }

std::string Read(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class HostBodies : public testing::Test {
  protected:
    HostBodies()
        : folder(fs::temp_directory_path() / ("tarnel-host-" + std::to_string(std::random_device()()))) {
        platform = {};
        testThread = std::this_thread::get_id();
        fs::create_directories(folder);
    }
    ~HostBodies() override {
        EXPECT_TRUE(platform.open.empty());
        EXPECT_TRUE(platform.failures.empty());
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }
    std::string Path(const std::string& name) const { return (folder / name).string(); }

    /// A folder of tracehost's in the test's one, with a file in it.
    std::string Leftover(const std::string& name) const {
        fs::create_directories(folder / name);
        Write(folder / name / "content", "x");
        return Path(name);
    }

    fs::path folder;
};

// --- folders

TEST_F(HostBodies, HeldFolderIsNotLeftBehindUntilItsHolderEnds) {
    {
        FolderHold hold;
        ASSERT_TRUE(hold.Take(folder.string()));
        EXPECT_FALSE(FolderHold::IsLeftBehind(folder.string()));
        EXPECT_EQ(platform.open.size(), 1u);
    }
    EXPECT_TRUE(FolderHold::IsLeftBehind(folder.string()));
    FolderHold another;
    EXPECT_FALSE(another.Take(folder.string()));
}

TEST_F(HostBodies, FolderWithoutAMarkIsNobodysLeftover) {
    EXPECT_FALSE(FolderHold::IsLeftBehind(folder.string()));
    EXPECT_FALSE(FolderHold::IsLeftBehind(Path("none")));
}

TEST_F(HostBodies, FailedCallOfAHoldIsTold) {
    FolderHold hold;
    platform.failures = {{"CreateFileA", ERROR_DISK_FULL}};
    EXPECT_FALSE(hold.Take(folder.string()));
    ASSERT_TRUE(hold.Take(folder.string()));
    hold.Release();
    platform.failures = {{"CreateFileA", ERROR_ACCESS_DENIED}};
    EXPECT_FALSE(FolderHold::IsLeftBehind(folder.string()));
}

/// Run by the test below in a process of its own, which is killed.
TEST(HolderOfAFolder, DISABLED_HoldsIt) {
    const char* const held = std::getenv(kHeldFolder);
    if (held == nullptr) GTEST_SKIP() << "no folder is named";
    FolderHold hold;
    if (hold.Take(held)) Write(fs::path(held) / "held", "");
    std::this_thread::sleep_for(2 * kLimit);
}

TEST_F(HostBodies, FolderOfAProcessThatIsKilledIsLeftBehind) {
    std::string line =
        "\"" + ModuleFile(nullptr) + "\" --gtest_also_run_disabled_tests --gtest_filter=HolderOf*";
    ASSERT_TRUE(SetEnvironmentVariableA(kHeldFolder, folder.string().c_str()));
    STARTUPINFOA start{};
    start.cb = sizeof start;
    PROCESS_INFORMATION holder{};
    ASSERT_TRUE(CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS, nullptr,
                               nullptr, &start, &holder));
    SetEnvironmentVariableA(kHeldFolder, nullptr);
    const auto end = std::chrono::steady_clock::now() + kLimit;
    while (!fs::exists(Path("held")) && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_TRUE(fs::exists(Path("held")));
    EXPECT_FALSE(FolderHold::IsLeftBehind(folder.string()));
    EXPECT_TRUE(TerminateProcess(holder.hProcess, 9));
    EXPECT_EQ(WaitForSingleObject(holder.hProcess, 60'000), WAIT_OBJECT_0);
    CloseHandle(holder.hThread);
    CloseHandle(holder.hProcess);
    EXPECT_TRUE(FolderHold::IsLeftBehind(folder.string()));
}

TEST_F(HostBodies, NextTemporaryFolderSweepsThoseThatWereLeftBehind) {
    const std::string left = Leftover("tracehost-1-1");
    Write(left + "\\in-use", "");
    const std::string others = Leftover("others-2-2");
    Write(others + "\\in-use", "");
    const std::string unmarked = Leftover("tracehost-3-3");
    const std::string held = Leftover("tracehost-4-4");
    FolderHold hold;
    ASSERT_TRUE(hold.Take(held));
    const std::string before = fs::temp_directory_path().string();
    ASSERT_TRUE(SetEnvironmentVariableA("TMP", folder.string().c_str()));
    std::string own;
    {
        const TemporaryFolder temporary;
        own = temporary.Path("");
        EXPECT_EQ(fs::path(own).parent_path().parent_path(), folder);
        EXPECT_FALSE(FolderHold::IsLeftBehind(own));
        temporary.Write("file", "x");
    }
    SetEnvironmentVariableA("TMP", before.c_str());
    EXPECT_FALSE(fs::exists(own));
    EXPECT_FALSE(fs::exists(left));
    for (const std::string& stays : {others, unmarked, held}) EXPECT_TRUE(fs::exists(stays + "\\content"));
}

// --- threads

TEST_F(HostBodies, ThreadOfACaptureLivesUntilItEnds) {
    CaptureThread capture;
    EXPECT_EQ(capture.Lives(), std::nullopt);
    std::promise<void> over;
    capture.BeforeStart();
    std::thread thread([&over] { over.get_future().wait(); });
    capture.AfterStart();
    EXPECT_EQ(capture.Lives(), true);
    over.set_value();
    thread.join();
    // A thread that was joined can be listed for another moment.
    for (int tries = 0; tries < 1000 && capture.Lives() == true; ++tries) std::this_thread::sleep_for(1ms);
    EXPECT_EQ(capture.Lives(), false);
}

TEST_F(HostBodies, ThreadsAreThoseOfThisProcessAlone) {
    const auto threads = OwnThreads();
    EXPECT_EQ(std::count(threads.begin(), threads.end(), GetCurrentThreadId()), 1);
    for (const uint64_t id : threads) {
        const HANDLE thread = OpenThread(THREAD_QUERY_INFORMATION, FALSE, static_cast<DWORD>(id));
        if (thread == nullptr) continue;  // it has ended meanwhile
        EXPECT_EQ(GetProcessIdOfThread(thread), GetCurrentProcessId());
        CloseHandle(thread);
    }
}

TEST_F(HostBodies, ThreadsThatAreNotToldAreNotTakenForEnded) {
    CaptureThread capture;
    capture.BeforeStart();
    capture.AfterStart();
    for (const char* const call : {"CreateToolhelp32Snapshot", "Thread32First"}) {
        platform.failures = {{call, ERROR_NOT_ENOUGH_MEMORY}};
        EXPECT_EQ(capture.Lives(), std::nullopt) << call;
        EXPECT_TRUE(platform.open.empty()) << call;
        platform.failures = {{call, ERROR_NOT_ENOUGH_MEMORY}};
        EXPECT_TRUE(OwnThreads().empty()) << call;
    }
}

// --- counts

constexpr NTSTATUS kRoomTooSmall = static_cast<NTSTATUS>(0xC0000004);
constexpr NTSTATUS kAccessDenied = static_cast<NTSTATUS>(0xC0000022);

TEST_F(HostBodies, HandlesOfThisProcessAreCounted) {
    const uint64_t before = Validation::CountHandles().value_or(0);
    EXPECT_GT(before, 0u);
    std::vector<HANDLE> held;
    for (int i = 0; i < 1000; ++i) held.push_back(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    const uint64_t with = Validation::CountHandles().value_or(0);
    for (const HANDLE handle : held) CloseHandle(handle);
    EXPECT_GE(with, 1000u);  // Wine tells of room for handles, some of which was there before
    EXPECT_GT(with, before);
}

TEST_F(HostBodies, HandlesAreAskedForWithMoreRoomUntilAllProcessesFit) {
    platform.queryAnswers = {kRoomTooSmall, kRoomTooSmall};
    EXPECT_NE(Validation::CountHandles(), std::nullopt);
    ASSERT_GE(platform.queryRooms.size(), 3u);
    EXPECT_EQ(platform.queryRooms[1], platform.queryRooms[0] * 2);
    EXPECT_EQ(platform.queryRooms[2], platform.queryRooms[0] * 4);
}

TEST_F(HostBodies, HandlesThatTheSystemDoesNotTellAreNotZero) {
    platform.failures = {{"GetProcAddress", ERROR_PROC_NOT_FOUND}};
    EXPECT_EQ(Validation::CountHandles(), std::nullopt);
    EXPECT_TRUE(platform.queryRooms.empty());
    platform.queryAnswers = {kAccessDenied};
    EXPECT_EQ(Validation::CountHandles(), std::nullopt);
    EXPECT_EQ(platform.queryRooms.size(), 1u);
    platform.queryAnswers.assign(100, kRoomTooSmall);
    EXPECT_EQ(Validation::CountHandles(), std::nullopt);
    EXPECT_FALSE(platform.queryAnswers.empty()) << "there is an end to the room";
    platform.queryAnswers = {0};  // done, and there is no process
    EXPECT_EQ(Validation::CountHandles(), std::nullopt);
}

TEST_F(HostBodies, BytesOfTheHeapAreCounted) {
    const uint64_t before = Validation::CountHeapBytes().value_or(0);
    EXPECT_GT(before, 0u);
    for (const std::size_t size : {1000u, 100'000u, 1'000'000u}) {
        const std::vector<std::string> blocks(50, std::string(size, 'x'));
        EXPECT_GE(Validation::CountHeapBytes().value_or(0), before + 50 * size) << size;
    }
}

TEST_F(HostBodies, HeapThatIsNotToldToItsEndIsNotCounted) {
    for (const char* const call : {"GetProcessHeaps", "HeapLock", "HeapWalk"}) {
        platform.failures = {{call, ERROR_INVALID_PARAMETER}};
        EXPECT_EQ(Validation::CountHeapBytes(), std::nullopt) << call;
        EXPECT_TRUE(platform.failures.empty()) << call;
    }
    EXPECT_NE(Validation::CountHeapBytes(), std::nullopt);  // which was unlocked
}

// --- ports

struct PortFailure {
    const char* call;
    DWORD error;
    std::string problem;
    const char* advice;
};

TEST_F(HostBodies, PortThatDoesNotOpenIsToldWithWhatToDo) {
    const char* const held = "end the program that has it open, a terminal or another recording";
    const PortFailure failures[] = {
        {"CreateFileA", ERROR_ACCESS_DENIED, "in use by another program", held},
        {"CreateFileA", ERROR_SHARING_VIOLATION, "in use by another program", held},
        {"CreateFileA", ERROR_FILE_NOT_FOUND, ErrorWords(ERROR_FILE_NOT_FOUND),
         "connect the probe; \"tracehost ports\" lists the ports that are there"},
        {"GetCommState", ERROR_INVALID_FUNCTION, ErrorWords(ERROR_INVALID_FUNCTION),
         "this is no serial port: \"tracehost ports\" lists those that are there"}};
    for (const PortFailure& failure : failures) {
        platform.failures = {{failure.call, failure.error}};
        const PortAccess access = CheckPort(12, PortCheck::ByOpening);
        EXPECT_EQ(access.device, R"(\\.\COM12)");
        EXPECT_EQ(access.problem, failure.problem);
        EXPECT_EQ(access.advice, failure.advice);
        EXPECT_TRUE(access.lookedAt);
        EXPECT_TRUE(platform.open.empty()) << failure.call;
    }
}

TEST_F(HostBodies, PortThatOpensIsWell) {
    const PortAccess access = CheckPort(12, PortCheck::ByOpening);
    EXPECT_EQ(platform.ports, std::vector<std::string>{R"(\\.\COM12)"});
    EXPECT_TRUE(access.lookedAt);
    EXPECT_EQ(access.problem + access.advice + access.holder, "");
}

TEST_F(HostBodies, PortThatIsNotOpenedIsNotSaidToBeWell) {
    ListedPort port;
    port.number = 12;
    port.name = "Brantor CDC Data Port (COM12)";
    port.access = CheckPort(12, PortCheck::FromOutside);
    EXPECT_TRUE(platform.ports.empty());
    EXPECT_FALSE(port.access.lookedAt);
    EXPECT_EQ(
        WhyTaken(port),
        "not taken by itself: its name is no probe's; --port 12 takes it; not opened, \"tracehost doctor "
        "--port 12\" looks at it");
}

// --- logs

TEST_F(HostBodies, BeginningIsForgottenBySparseZerosOfAFileThatItsWriterHolds) {
    Write(Path("log"), "whole");
    const std::ofstream writer(Path("log"), std::ios::app | std::ios::binary);
    platform.takesControls = true;
    ASSERT_TRUE(ForgetBeginning(Path("log"), 3));
    const std::string zeros("\0\0\0\0\0\0\0\0\3\0\0\0\0\0\0\0", 16);  // from the first byte to the third
    using Control = std::pair<DWORD, std::string>;
    EXPECT_EQ(platform.controls,
              (std::vector<Control>{{FSCTL_SET_SPARSE, std::string()}, {FSCTL_SET_ZERO_DATA, zeros}}));
}

TEST_F(HostBodies, BeginningThatIsForgottenReadsAsZerosAndTheLengthStays) {
    const std::string beginning(1 << 16, 'x');
    Write(Path("log"), beginning + "end");
    const bool done = ForgetBeginning(Path("log"), beginning.size());
    EXPECT_EQ(Read(Path("log")), (done ? std::string(beginning.size(), '\0') : beginning) + "end");
    if (!done) GTEST_SKIP() << "this system forgets nothing, and says so";
}

TEST_F(HostBodies, EachFailedCallOfForgettingIsToldAndTheFileStaysWhole) {
    Write(Path("log"), "whole");
    platform.takesControls = true;
    for (const char* const call : {"CreateFileA", "sparse", "zeros"}) {
        platform.failures = {{call, ERROR_NOT_SUPPORTED}};
        EXPECT_FALSE(ForgetBeginning(Path("log"), 3)) << call;
        EXPECT_TRUE(platform.open.empty()) << call;
        EXPECT_TRUE(platform.failures.empty()) << call;
    }
    EXPECT_EQ(Read(Path("log")), "whole");
    EXPECT_FALSE(ForgetBeginning(Path("none"), 3));
}

// --- files

TEST_F(HostBodies, IdentityIsTheFilesNotItsNames) {
    Write(Path("one"), "x");
    Write(Path("two"), "x");
    const std::string one = FileIdentity(Path("one"));
    EXPECT_NE(one, "");
    EXPECT_NE(one, FileIdentity(Path("two")));
    Write(Path("one"), "longer");
    EXPECT_EQ(FileIdentity(Path("one")), one);
    fs::rename(Path("one"), Path("elsewhere"));
    EXPECT_EQ(FileIdentity(Path("elsewhere")), one);
}

TEST_F(HostBodies, FileThatIsReplacedHasAnotherIdentity) {
    Write(Path("file"), "x");
    const HANDLE held = CreateFileA(Path("file").c_str(), GENERIC_READ,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    const std::string before = FileIdentity(Path("file"));
    fs::rename(Path("file"), Path("aside"));
    Write(Path("file"), "x");
    EXPECT_NE(FileIdentity(Path("file")), before);
    EXPECT_NE(FileIdentity(Path("file")), "");
    CloseHandle(held);
}

TEST_F(HostBodies, FileThatIsRemovedOrNotToldOfHasNoIdentity) {
    EXPECT_EQ(FileIdentity(Path("file")), "");
    Write(Path("file"), "x");
    for (const char* const call : {"CreateFileA", "GetFileInformationByHandle"}) {
        platform.failures = {{call, ERROR_ACCESS_DENIED}};
        EXPECT_EQ(FileIdentity(Path("file")), "") << call;
        EXPECT_TRUE(platform.open.empty()) << call;
    }
    EXPECT_NE(FileIdentity(Path("file")), "");
    fs::remove(Path("file"));
    EXPECT_EQ(FileIdentity(Path("file")), "");
}

TEST_F(HostBodies, FileThatAnotherHoldsForItselfHasItsIdentityAllTheSame) {
    Write(Path("file"), "x");
    const std::string before = FileIdentity(Path("file"));
    const HANDLE held = CreateFileA(Path("file").c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    EXPECT_EQ(FileIdentity(Path("file")), before);
    EXPECT_EQ(WhyNotReadable(Path("file")), ErrorWords(ERROR_SHARING_VIOLATION));
    EXPECT_EQ(WhyNotWritable(Path("file")), ErrorWords(ERROR_SHARING_VIOLATION));
    CloseHandle(held);
    EXPECT_EQ(WhyNotReadable(Path("file")) + WhyNotWritable(Path("file")), "");
}

TEST_F(HostBodies, LookingWhetherAFileCanBeMadeLeavesNone) {
    EXPECT_EQ(WhyNotWritable(Path("file")), "");
    EXPECT_FALSE(fs::exists(Path("file")));
    EXPECT_EQ(WhyNotReadable(Path("file")), ErrorWords(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(WhyNotWritable(folder.string()), "Is a directory");
    EXPECT_EQ(WhyNotReadable(folder.string()), "Is a directory");
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
