// The Windows body with the platform's functions replaced by the linker: which calls it makes, in
// which order, with which arguments, and what each failure leads to.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>
// windows.h comes first
#include <cfgmgr32.h>
#include <objbase.h>
#include <setupapi.h>

#include <cstring>
#include <new>

#include "uart/port_devices.h"

namespace {

struct Device {
    std::wstring name;
    CONFIGRET status = CR_SUCCESS;
    CONFIGRET identifier = CR_SUCCESS;
    bool hasName = true;
    bool terminated = true;  ///< the name's value ends in a zero
};

struct Platform {
    bool versionKnown = true;
    DWORD major = 10;
    DWORD minor = 0;
    bool listOpens = true;
    bool listCloses = true;
    bool converts = true;      ///< texts to UTF-8
    bool outOfMemory = false;  ///< texts to UTF-8: throws std::bad_alloc
    std::vector<Device> devices;
    std::vector<std::string> calls;
};
Platform platform;

HDEVINFO const kList = reinterpret_cast<HDEVINFO>(0x1234);

void Note(const std::string& call) { platform.calls.push_back(call); }
std::string Text(const void* pointer) { return pointer == nullptr ? "null" : "set"; }
std::string Text(unsigned long number) { return std::to_string(number); }

}  // namespace

extern "C" {
decltype(::WideCharToMultiByte) __real_WideCharToMultiByte;

BOOL WINAPI __wrap_GetVersionExW(OSVERSIONINFOW* version) {
    Note("GetVersionExW " + Text(version->dwOSVersionInfoSize));
    version->dwMajorVersion = platform.major;
    version->dwMinorVersion = platform.minor;
    return platform.versionKnown;
}

HDEVINFO WINAPI __wrap_SetupDiGetClassDevsW(const GUID* guid, PCWSTR enumerator, HWND parent, DWORD flags) {
    wchar_t text[40];
    StringFromGUID2(*guid, text, 40);
    Note("SetupDiGetClassDevsW " + std::string(text, text + wcslen(text)) + " " + Text(enumerator) + " " +
         Text(parent) + " " + Text(flags));
    return platform.listOpens ? kList : INVALID_HANDLE_VALUE;
}

BOOL WINAPI __wrap_SetupDiEnumDeviceInfo(HDEVINFO list, DWORD index, SP_DEVINFO_DATA* device) {
    EXPECT_EQ(list, kList);
    Note("SetupDiEnumDeviceInfo " + Text(index) + " " + Text(device->cbSize));
    if (index >= platform.devices.size()) return FALSE;
    device->DevInst = 100 + index;
    return TRUE;
}

CONFIGRET WINAPI __wrap_CM_Get_DevNode_Status(ULONG* status, ULONG* problem, DEVINST device, ULONG flags) {
    Note("CM_Get_DevNode_Status " + Text(device) + " " + Text(status) + " " + Text(problem) + " " +
         Text(flags));
    return platform.devices[device - 100].status;
}

CONFIGRET WINAPI __wrap_CM_Get_Device_IDW(DEVINST device, PWSTR buffer, ULONG length, ULONG flags) {
    Note("CM_Get_Device_IDW " + Text(device) + " " + Text(length) + " " + Text(flags));
    std::fill(buffer, buffer + length, L'i');
    return platform.devices[device - 100].identifier;
}

BOOL WINAPI __wrap_SetupDiGetDeviceRegistryPropertyW(HDEVINFO list, SP_DEVINFO_DATA* data, DWORD property,
                                                     DWORD* type, BYTE* buffer, DWORD size, DWORD* needed) {
    EXPECT_EQ(list, kList);
    EXPECT_EQ(std::wcscmp(reinterpret_cast<wchar_t*>(buffer), L"none"), 0);
    Note("SetupDiGetDeviceRegistryPropertyW " + Text(data->DevInst) + " " + Text(property) + " " +
         Text(type) + " " + Text(size) + " " + Text(needed));
    const Device& device = platform.devices[data->DevInst - 100];
    const std::size_t bytes = (device.name.size() + (device.terminated ? 1 : 0)) * sizeof(wchar_t);
    if (!device.hasName || bytes > size) return FALSE;
    std::memcpy(buffer, device.name.c_str(), bytes);
    return TRUE;
}

BOOL WINAPI __wrap_SetupDiDestroyDeviceInfoList(HDEVINFO list) {
    EXPECT_EQ(list, kList);
    Note("SetupDiDestroyDeviceInfoList");
    return platform.listCloses;
}

int WINAPI __wrap_WideCharToMultiByte(UINT page, DWORD flags, LPCWCH text, int length, LPSTR bytes, int size,
                                      LPCCH unknown, LPBOOL usedUnknown) {
    if (platform.outOfMemory) throw std::bad_alloc();
    return platform.converts
               ? __real_WideCharToMultiByte(page, flags, text, length, bytes, size, unknown, usedUnknown)
               : 0;
}
}

namespace Korr::Plim::Trace::Tarnel {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class PortDevicesCalls : public testing::Test {
  protected:
    void SetUp() override { platform = {}; }
};

TEST_F(PortDevicesCalls, ListingMakesExactlyTheseCalls) {
    platform.devices = {{L"first"}, {L"second"}};
    EXPECT_THAT(ListPresentPortDevices(), ElementsAre("first", "second"));
    EXPECT_THAT(
        platform.calls,
        ElementsAre("SetupDiGetClassDevsW {4D36E978-E325-11CE-BFC1-08002BE10318} null null 0",
                    "SetupDiEnumDeviceInfo 0 32", "CM_Get_DevNode_Status 100 set set 0",
                    "CM_Get_Device_IDW 100 200 0", "SetupDiGetDeviceRegistryPropertyW 100 12 null 400 null",
                    "SetupDiEnumDeviceInfo 1 32", "CM_Get_DevNode_Status 101 set set 0",
                    "CM_Get_Device_IDW 101 200 0", "SetupDiGetDeviceRegistryPropertyW 101 12 null 400 null",
                    "SetupDiEnumDeviceInfo 2 32", "SetupDiDestroyDeviceInfoList"));
}

TEST_F(PortDevicesCalls, VersionCheckMakesOneCall) {
    CheckPlatformVersion();
    EXPECT_THAT(platform.calls, ElementsAre("GetVersionExW 276"));
}

TEST_F(PortDevicesCalls, FailedVersionQueryIsUnknown) {
    platform.versionKnown = false;
    EXPECT_EQ(CheckPlatformVersion(), PlatformCheck::kVersionUnknown);
}

TEST_F(PortDevicesCalls, VersionsFrom51OnAreSupported) {
    const struct {
        DWORD major;
        DWORD minor;
        PlatformCheck check;
    } versions[] = {
        {4, 0, PlatformCheck::kTooOld},     {4, 10, PlatformCheck::kTooOld},
        {5, 0, PlatformCheck::kTooOld},     {5, 1, PlatformCheck::kSupported},
        {5, 2, PlatformCheck::kSupported},  {5, 3, PlatformCheck::kTooOld},
        {6, 0, PlatformCheck::kSupported},  {6, 1, PlatformCheck::kSupported},
        {10, 0, PlatformCheck::kSupported}, {3, 51, PlatformCheck::kTooOld},
        {0, 0, PlatformCheck::kTooOld},
    };
    for (const auto& version : versions) {
        platform.major = version.major;
        platform.minor = version.minor;
        EXPECT_EQ(CheckPlatformVersion(), version.check) << version.major << "." << version.minor;
    }
}

TEST_F(PortDevicesCalls, ListThatCannotBeOpenedIsEmptyAndNotDestroyed) {
    platform.devices = {{L"first"}};
    platform.listOpens = false;
    EXPECT_THAT(ListPresentPortDevices(), IsEmpty());
    EXPECT_EQ(platform.calls.size(), 1u);
}

TEST_F(PortDevicesCalls, EmptyListIsDestroyed) {
    EXPECT_THAT(ListPresentPortDevices(), IsEmpty());
    EXPECT_EQ(platform.calls.back(), "SetupDiDestroyDeviceInfoList");
}

TEST_F(PortDevicesCalls, AbsentDeviceIsSkippedBeforeItsIdentifierIsAsked) {
    platform.devices = {{L"absent", CR_NO_SUCH_DEVINST}, {L"present"}};
    EXPECT_THAT(ListPresentPortDevices(), ElementsAre("present"));
    EXPECT_THAT(platform.calls, Not(Contains(StartsWith("CM_Get_Device_IDW 100"))));
}

TEST_F(PortDevicesCalls, DeviceWithoutIdentifierIsSkippedBeforeItsNameIsAsked) {
    platform.devices = {{L"nameless", CR_SUCCESS, CR_FAILURE}, {L"present"}};
    EXPECT_THAT(ListPresentPortDevices(), ElementsAre("present"));
    EXPECT_THAT(platform.calls, Not(Contains(StartsWith("SetupDiGetDeviceRegistryPropertyW 100"))));
}

TEST_F(PortDevicesCalls, DeviceWithoutNameIsSkipped) {
    platform.devices = {{L"", CR_SUCCESS, CR_SUCCESS, false}, {L"present"}};
    EXPECT_THAT(ListPresentPortDevices(), ElementsAre("present"));
}

TEST_F(PortDevicesCalls, DeviceWhoseNameCannotBeConvertedIsSkipped) {
    platform.devices = {{L"first"}, {L""}};
    platform.converts = false;
    EXPECT_THAT(ListPresentPortDevices(), ElementsAre("")) << "nothing needs no conversion";
    EXPECT_EQ(platform.calls.back(), "SetupDiDestroyDeviceInfoList");
}

TEST_F(PortDevicesCalls, ListThatCannotBeDestroyedIsGivenUpAndItsNamesHold) {
    platform.devices = {{L"first"}};
    platform.listCloses = false;
    EXPECT_THAT(ListPresentPortDevices(), ElementsAre("first"));
    EXPECT_THAT(platform.calls, Contains("SetupDiDestroyDeviceInfoList").Times(1));
}

TEST_F(PortDevicesCalls, NameOf199CharactersIsTheLongest) {
    platform.devices = {{std::wstring(199, L'x')}, {std::wstring(200, L'y')}};
    EXPECT_THAT(ListPresentPortDevices(), ElementsAre(std::string(199, 'x')));
}

TEST_F(PortDevicesCalls, NameThatFillsTheBufferWithoutItsZeroEndsWithTheBuffer) {
    platform.devices = {{std::wstring(200, L'x'), CR_SUCCESS, CR_SUCCESS, true, false}};
    platform.devices[0].terminated = false;
    EXPECT_THAT(ListPresentPortDevices(), ElementsAre(std::string(200, 'x')));
}

TEST_F(PortDevicesCalls, NamesBecomeUtf8) {
    platform.devices = {{L"\u00E9\u20AC"}, {L"\xD83D\xDE00"}, {L"\xD83D"}, {L""}};
    EXPECT_THAT(ListPresentPortDevices(),
                ElementsAre("\xC3\xA9\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xEF\xBF\xBD", ""));
}

TEST_F(PortDevicesCalls, ListIsFreedWhenSomethingIsThrown) {
    platform.devices = {{L"first"}};
    platform.outOfMemory = true;
    EXPECT_THROW(ListPresentPortDevices(), std::bad_alloc);
    EXPECT_EQ(platform.calls.back(), "SetupDiDestroyDeviceInfoList");
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tarnel
