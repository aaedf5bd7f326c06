// The Windows body over device entries in the registry, read by the platform's own device functions. Writes
// below HKEY_LOCAL_MACHINE: run it in a Wine prefix that holds nothing else.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include "uart/com_port_discovery.h"
#include "uart/port_devices.h"

namespace Korr::Plim::Trace::Tarnel {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

constexpr wchar_t kEnum[] = L"System\\CurrentControlSet\\Enum\\USB";
constexpr wchar_t kPorts[] = L"{4d36e978-e325-11ce-bfc1-08002be10318}";
constexpr wchar_t kModems[] = L"{4d36e96d-e325-11ce-bfc1-08002be10318}";

class PortDevicesInRegistry : public testing::Test {
  protected:
    void SetUp() override { RegDeleteTreeW(HKEY_LOCAL_MACHINE, kEnum); }
    void TearDown() override { RegDeleteTreeW(HKEY_LOCAL_MACHINE, kEnum); }

    static void SetText(HKEY key, const wchar_t* value, const std::wstring& text) {
        const auto bytes = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
        ASSERT_EQ(RegSetValueExW(key, value, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()), bytes),
                  ERROR_SUCCESS);
    }

    void Plug(const std::wstring& friendlyName, const std::wstring& deviceClass = kPorts) {
        const std::wstring path =
            std::wstring(kEnum) + L"\\VID_1234&PID_5678&MI_02\\" + std::to_wstring(1000 + ++instances);
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                  &key, nullptr),
                  ERROR_SUCCESS);
        SetText(key, L"Class", L"Ports");
        SetText(key, L"ClassGUID", deviceClass);
        if (!friendlyName.empty()) SetText(key, L"FriendlyName", friendlyName);
        RegCloseKey(key);
    }

    int instances = 0;
};

TEST_F(PortDevicesInRegistry, NothingThereGivesNothing) {
    EXPECT_THAT(ListPresentPortDevices(), IsEmpty());
    EXPECT_THAT(EnumerateProbeComPorts(2), IsEmpty());
}

TEST_F(PortDevicesInRegistry, EveryPortDeviceIsListedWithItsFriendlyName) {
    Plug(L"Brantor User CDC Serial Port (COM12)");
    Plug(L"Communications Port (COM1)");
    Plug(L"Caf\u00E9 Port (COM2)");
    EXPECT_THAT(ListPresentPortDevices(),
                UnorderedElementsAre("Brantor User CDC Serial Port (COM12)", "Communications Port (COM1)",
                                     "Caf\xC3\xA9 Port (COM2)"));
}

TEST_F(PortDevicesInRegistry, DevicesOfOtherClassesAreNotListed) {
    Plug(L"Brantor Serial Port (COM4)", kModems);
    EXPECT_THAT(ListPresentPortDevices(), IsEmpty());
}

TEST_F(PortDevicesInRegistry, DeviceWithoutFriendlyNameIsSkipped) {
    Plug(L"");
    Plug(L"Brantor Serial Port (COM4)");
    EXPECT_THAT(ListPresentPortDevices(), ElementsAre("Brantor Serial Port (COM4)"));
}

TEST_F(PortDevicesInRegistry, NameLongerThanTheBufferIsSkipped) {
    const std::wstring name = L"Brantor Serial Port (COM4)";
    Plug(name + std::wstring(199 - name.size(), L'x'));
    Plug(L"Brantor Serial Port (COM5)" + std::wstring(200 - name.size(), L'y'));
    EXPECT_THAT(EnumerateProbeComPorts(0), ElementsAre("4"));
}

TEST_F(PortDevicesInRegistry, SeveralProbesOfEachFamily) {
    Plug(L"Brantor Serial Port (COM12)");
    Plug(L"Brantor User CDC Serial Port (COM3)");
    Plug(L"Quiller Class Auxiliary Data Port (COM7)");
    Plug(L"Quiller Class Auxiliary Data Port (COM10)");
    Plug(L"Brantor Serial Port (COM3)");
    Plug(L"Brantor Serial Port");
    Plug(L"Quiller Class Auxiliary Data Port (COMx)");
    Plug(L"Communications Port (COM1)");
    EXPECT_THAT(EnumerateProbeComPorts(0), ElementsAre("3", "3", "12"));
    EXPECT_THAT(EnumerateProbeComPorts(1), ElementsAre("0", "7", "10"));
    EXPECT_THAT(EnumerateProbeComPorts(2), ElementsAre("0", "3", "3", "7", "10", "12"));
    EXPECT_THAT(EnumerateProbeComPorts(3), IsEmpty());
}

TEST_F(PortDevicesInRegistry, UnpluggedDeviceIsGoneFromTheNextListing) {
    Plug(L"Brantor Serial Port (COM4)");
    EXPECT_THAT(EnumerateProbeComPorts(0), ElementsAre("4"));
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, kEnum);
    EXPECT_THAT(EnumerateProbeComPorts(0), IsEmpty());
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tarnel
