#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host_api/cPelkitError.h"
#include "tests/support/log_home.h"
#include "uart/UARTDataCollector.h"
#include "uart/capture_file.h"
#include "uart/serial_port.h"

/// The platform calls below the bodies, replaced by the linker. Those on the port and the file of a test stay
/// here, all others go on to the platform.
namespace {

const HANDLE kPort = reinterpret_cast<HANDLE>(std::intptr_t{0x7A0001});
const HANDLE kFile = reinterpret_cast<HANDLE>(std::intptr_t{0x7A0002});

struct System {
    std::vector<std::string> calls;
    std::map<std::string, DWORD> failures;  ///< error number by the name of a call
    std::deque<DWORD> writes;               ///< bytes that the coming writes take; all when there are none
    DCB dcb{};
    COMMTIMEOUTS timeouts{};
    std::wstring name;
    DWORD waiting = 0;

    BOOL Enter(const std::string& call, const std::string& arguments = std::string()) {
        calls.push_back(call + "(" + arguments + ")");
        const auto failure = failures.find(call);
        if (failure == failures.end()) return TRUE;
        SetLastError(failure->second);
        return FALSE;
    }
};
System* replaced = nullptr;

bool IsReplaced(HANDLE handle) { return replaced != nullptr && (handle == kPort || handle == kFile); }

bool IsPort(std::wstring_view name) { return name.starts_with(L"\\\\.\\"); }
bool IsReplaced(std::wstring_view name) {
    return replaced != nullptr && (IsPort(name) || name.ends_with(L".bin"));
}

std::string Narrow(const wchar_t* text) {
    std::string narrow;
    for (; *text != 0; ++text) narrow.push_back(static_cast<char>(*text));
    return narrow;
}

}  // namespace

extern "C" {
decltype(::CreateFileW) __real_CreateFileW;
decltype(::CloseHandle) __real_CloseHandle;
decltype(::ReadFile) __real_ReadFile;
decltype(::WriteFile) __real_WriteFile;

HANDLE WINAPI __wrap_CreateFileW(LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                                 DWORD disposition, DWORD flags, HANDLE pattern) {
    if (!IsReplaced(name)) {
        return __real_CreateFileW(name, access, share, security, disposition, flags, pattern);
    }
    replaced->name = name;
    std::string arguments = Narrow(name);
    for (const DWORD number : {access, share, disposition, flags}) arguments += " " + std::to_string(number);
    if (security != nullptr || pattern != nullptr) arguments += " unexpected";
    const bool isPort = IsPort(name);
    if (!replaced->Enter(isPort ? "CreateFileW port" : "CreateFileW file", arguments)) {
        return INVALID_HANDLE_VALUE;
    }
    return isPort ? kPort : kFile;
}

BOOL WINAPI __wrap_CloseHandle(HANDLE handle) {
    if (!IsReplaced(handle)) return __real_CloseHandle(handle);
    return replaced->Enter(handle == kPort ? "CloseHandle port" : "CloseHandle file");
}

BOOL WINAPI __wrap_ReadFile(HANDLE handle, LPVOID buffer, DWORD size, LPDWORD count,
                            LPOVERLAPPED overlapped) {
    if (!IsReplaced(handle)) return __real_ReadFile(handle, buffer, size, count, overlapped);
    *count = 0;
    return replaced->Enter("ReadFile", std::to_string(size) + (overlapped != nullptr ? " overlapped" : ""));
}

BOOL WINAPI __wrap_WriteFile(HANDLE handle, LPCVOID data, DWORD size, LPDWORD count,
                             LPOVERLAPPED overlapped) {
    if (!IsReplaced(handle)) return __real_WriteFile(handle, data, size, count, overlapped);
    *count = size;
    if (!replaced->writes.empty()) {
        *count = replaced->writes.front();
        replaced->writes.pop_front();
    }
    const std::string bytes(static_cast<const char*>(data), size);
    return replaced->Enter("WriteFile", bytes + (overlapped != nullptr ? " overlapped" : ""));
}

BOOL WINAPI __wrap_SetCommTimeouts(HANDLE, LPCOMMTIMEOUTS timeouts) {
    replaced->timeouts = *timeouts;
    return replaced->Enter("SetCommTimeouts");
}

BOOL WINAPI __wrap_GetCommState(HANDLE, LPDCB dcb) {
    if (!replaced->Enter("GetCommState", std::to_string(dcb->DCBlength))) return FALSE;
    *dcb = replaced->dcb;
    return TRUE;
}

BOOL WINAPI __wrap_SetCommState(HANDLE, LPDCB dcb) {
    if (!replaced->Enter("SetCommState", std::to_string(dcb->BaudRate))) return FALSE;
    replaced->dcb = *dcb;
    return TRUE;
}

BOOL WINAPI __wrap_PurgeComm(HANDLE, DWORD flags) {
    return replaced->Enter("PurgeComm", std::to_string(flags));
}

BOOL WINAPI __wrap_ClearCommError(HANDLE, LPDWORD errors, LPCOMSTAT status) {
    *errors = 5;
    *status = COMSTAT{};
    status->cbInQue = replaced->waiting;
    return replaced->Enter("ClearCommError");
}

BOOL WINAPI __wrap_SetCommBreak(HANDLE) { return replaced->Enter("SetCommBreak"); }
}

namespace Korr::Plim::Trace::Tarnel {

using support::LogHome;

namespace {

using Calls = std::vector<std::string>;

const std::string kOpenPort = "CreateFileW port(\\\\.\\COM5 2147483648 1 3 128)";
const std::string kCreateFile = "CreateFileW file(capture.bin 1073741824 1 2 128)";

class WindowsBodies : public ::testing::Test {
  protected:
    void SetUp() override {
        system.dcb.DCBlength = sizeof(DCB);
        system.dcb.BaudRate = 1200;
        replaced = &system;
    }
    void TearDown() override { replaced = nullptr; }

    System system;
    SerialPort port;
    CaptureFile file;
    uint32_t bytesRead = 99;
    char buffer[100] = {};
};

TEST_F(WindowsBodies, CollectorMakesItsPlatformCallsInOrder) {
    const LogHome home("1");
    system.waiting = 2;
    uint32_t prescaler = 24;
    {
        UARTDataCollector collector(5, 48e6, false, prescaler, "capture.bin", true);
        system.failures["ReadFile"] = 995;
        collector.Run();
        EXPECT_TRUE(collector.IsFinished());
    }
    const Calls expected = {
        kOpenPort,           "SetCommTimeouts()", "GetCommState(28)",   "SetCommState(1920000)",
        "PurgeComm(12)",     "ClearCommError()",  "ReadFile(1)",        "ReadFile(1)",
        "GetCommState(28)",  kCreateFile,         "ReadFile(100)",      "SetCommBreak()",
        "ReadFile(100)",     "PurgeComm(12)",     "SetCommState(1200)", "CloseHandle port()",
        "CloseHandle file()"};
    EXPECT_EQ(system.calls, expected);
}

TEST_F(WindowsBodies, EmptyReadsAreWrittenAsZeroLengthWrites) {
    ASSERT_TRUE(port.Open(5));
    ASSERT_TRUE(file.Create("capture.bin"));
    ASSERT_TRUE(port.Read(buffer, 100, bytesRead));
    ASSERT_TRUE(file.Write(buffer, bytesRead));
    EXPECT_EQ(system.calls, (Calls{kOpenPort, kCreateFile, "ReadFile(100)", "WriteFile()"}));
}

TEST_F(WindowsBodies, ReadsReturnAtOnce) {
    ASSERT_TRUE(port.Open(5));
    ASSERT_TRUE(port.SetPollingTimeouts());
    EXPECT_EQ(system.timeouts.ReadIntervalTimeout, MAXDWORD);
    EXPECT_EQ(system.timeouts.ReadTotalTimeoutMultiplier, 0U);
    EXPECT_EQ(system.timeouts.ReadTotalTimeoutConstant, 0U);
    EXPECT_EQ(system.timeouts.WriteTotalTimeoutMultiplier, 0U);
    EXPECT_EQ(system.timeouts.WriteTotalTimeoutConstant, 0U);
}

TEST_F(WindowsBodies, CaptureNeverWaitsBetweenReadsOfAHundredBytes) {
    ASSERT_TRUE(port.Open(5));
    system.calls.clear();
    EXPECT_EQ(SerialPort::kCaptureReadSize, 100U);
    port.AwaitMore(0);
    port.AwaitMore(100);
    port.EndWaits();
    EXPECT_EQ(system.calls, Calls{});
}

TEST_F(WindowsBodies, LargestPortNumberIsWrittenInDecimal) {
    ASSERT_TRUE(port.Open(4294967295U));
    EXPECT_EQ(system.name, L"\\\\.\\COM4294967295");
}

TEST_F(WindowsBodies, FileNameIsWidenedByteByByte) {
    ASSERT_TRUE(file.Create("C:\\\xE4\xFF\x80.bin"));
    EXPECT_EQ(system.name, L"C:\\\u00E4\u00FF\u0080.bin");
}

TEST_F(WindowsBodies, FailuresKeepTheirErrorNumber) {
    LineState state;
    PortQueue queue;
    system.failures = {{"CreateFileW port", 1}, {"CreateFileW file", 2}};
    EXPECT_FALSE(port.Open(5));
    EXPECT_FALSE(port.IsOpen());
    EXPECT_EQ(SerialPort::LastError(), 1U);
    EXPECT_FALSE(file.Create("capture.bin"));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(CaptureFile::LastError(), 2U);
    system.failures = {{"SetCommTimeouts", 3}, {"GetCommState", 4},      {"SetCommState", 5},
                       {"PurgeComm", 6},       {"ClearCommError", 7},    {"SetCommBreak", 8},
                       {"ReadFile", 9},        {"CloseHandle port", 10}, {"CloseHandle file", 11},
                       {"WriteFile", 12}};
    ASSERT_TRUE(port.Open(5));
    ASSERT_TRUE(file.Create("capture.bin"));
    EXPECT_FALSE(port.SetPollingTimeouts());
    EXPECT_EQ(SerialPort::LastError(), 3U);
    EXPECT_FALSE(port.GetState(state));
    EXPECT_EQ(SerialPort::LastError(), 4U);
    EXPECT_FALSE(port.SetState(state));
    EXPECT_EQ(SerialPort::LastError(), 5U);
    EXPECT_FALSE(port.Purge());
    EXPECT_EQ(SerialPort::LastError(), 6U);
    EXPECT_FALSE(port.QueryQueue(queue));
    EXPECT_EQ(SerialPort::LastError(), 7U);
    EXPECT_FALSE(port.SetBreak());
    EXPECT_EQ(SerialPort::LastError(), 8U);
    EXPECT_FALSE(port.Read(buffer, 100, bytesRead));
    EXPECT_EQ(SerialPort::LastError(), 9U);
    EXPECT_FALSE(file.Write("abc", 3));
    EXPECT_EQ(CaptureFile::LastError(), 12U);
    EXPECT_FALSE(port.Close());
    EXPECT_EQ(SerialPort::LastError(), 10U);
    EXPECT_FALSE(port.IsOpen());
    EXPECT_FALSE(file.Close());
    EXPECT_EQ(CaptureFile::LastError(), 11U);
    EXPECT_FALSE(file.IsOpen());
}

TEST_F(WindowsBodies, RecordOfLengthZeroIsAnInvalidState) {
    LineState state;
    system.dcb.DCBlength = 0;
    ASSERT_TRUE(port.Open(5));
    ASSERT_TRUE(port.GetState(state));
    EXPECT_EQ(state.length, 0U);
}

TEST_F(WindowsBodies, QueueIsWhatTheDriverReports) {
    PortQueue queue;
    system.waiting = 17;
    ASSERT_TRUE(port.Open(5));
    ASSERT_TRUE(port.QueryQueue(queue));
    EXPECT_EQ(queue.errors, 5U);
    EXPECT_EQ(queue.bytesWaiting, 17U);
}

TEST_F(WindowsBodies, SettingsReadAndWrittenBackAreTheSameToTheBit) {
    ASSERT_TRUE(port.Open(5));
    for (unsigned variant = 0; variant < 2000; ++variant) {
        std::srand(variant);
        auto* bytes = reinterpret_cast<unsigned char*>(&system.dcb);
        for (std::size_t i = 0; i < sizeof system.dcb; ++i) {
            bytes[i] = static_cast<unsigned char>(std::rand() / 64);
        }
        const DCB before = system.dcb;
        LineState state;
        ASSERT_TRUE(port.GetState(state));
        ASSERT_TRUE(port.SetState(state));
        EXPECT_EQ(std::memcmp(&before, &system.dcb, sizeof before), 0) << variant;
    }
}

TEST_F(WindowsBodies, MembersReachTheirFieldsOfTheRecord) {
    ASSERT_TRUE(port.Open(5));
    LineState state;
    ASSERT_TRUE(port.GetState(state));
    EXPECT_EQ(state.baudRate, 1200U);
    state.dataBits = 7;
    state.parity = EVENPARITY;
    state.stopBits = TWOSTOPBITS;
    state.dtrControl = DTR_CONTROL_HANDSHAKE;
    state.rtsControl = RTS_CONTROL_TOGGLE;
    state.ctsFlow = state.xoffOutput = state.abortOnError = true;
    ASSERT_TRUE(port.SetState(state));
    EXPECT_EQ(system.dcb.ByteSize, 7);
    EXPECT_EQ(system.dcb.Parity, EVENPARITY);
    EXPECT_EQ(system.dcb.StopBits, TWOSTOPBITS);
    EXPECT_EQ(system.dcb.fDtrControl, static_cast<DWORD>(DTR_CONTROL_HANDSHAKE));
    EXPECT_EQ(system.dcb.fRtsControl, static_cast<DWORD>(RTS_CONTROL_TOGGLE));
    EXPECT_TRUE(system.dcb.fOutxCtsFlow && system.dcb.fOutX && system.dcb.fAbortOnError);
    EXPECT_FALSE(system.dcb.fBinary || system.dcb.fParity || system.dcb.fOutxDsrFlow ||
                 system.dcb.fDsrSensitivity || system.dcb.fInX || system.dcb.fNull);
    state.ctsFlow = state.xoffOutput = state.abortOnError = false;
    state.binary = state.checkParity = state.dsrFlow = state.dsrSensitivity = true;
    state.xoffInput = state.discardNull = true;
    ASSERT_TRUE(port.SetState(state));
    EXPECT_FALSE(system.dcb.fOutxCtsFlow || system.dcb.fOutX || system.dcb.fAbortOnError);
    EXPECT_TRUE(system.dcb.fBinary && system.dcb.fParity && system.dcb.fOutxDsrFlow &&
                system.dcb.fDsrSensitivity && system.dcb.fInX && system.dcb.fNull);
}

TEST_F(WindowsBodies, ShortWriteIsContinued) {
    ASSERT_TRUE(file.Create("capture.bin"));
    system.writes = {2, 3};
    EXPECT_TRUE(file.Write("abcdef", 6));
    EXPECT_EQ(system.calls, (Calls{kCreateFile, "WriteFile(abcdef)", "WriteFile(cdef)", "WriteFile(f)"}));
}

TEST_F(WindowsBodies, WriteThatTakesNothingFails) {
    ASSERT_TRUE(file.Create("capture.bin"));
    system.writes = {0};
    EXPECT_FALSE(file.Write("abc", 3));
    EXPECT_EQ(CaptureFile::LastError(), static_cast<uint32_t>(ERROR_WRITE_FAULT));
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tarnel
