#include "uart/port_devices.h"

#include <windows.h>
// windows.h comes first
#include <cfgmgr32.h>
#include <setupapi.h>

namespace Korr::Plim::Trace::Tarnel {

namespace {

/// The class "Ports (COM & LPT)".
constexpr GUID kPortsClass = {0x4D36E978, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
constexpr ULONG kNameLength = 200;

static_assert(sizeof(OSVERSIONINFOW) == 276);
static_assert(sizeof(SP_DEVINFO_DATA) == 32);

/// The devices of the ports class, present or not; freed on every way out.
class DeviceList {
  public:
    DeviceList() : handle(SetupDiGetClassDevsW(&kPortsClass, nullptr, nullptr, 0)) {}
    ~DeviceList() {
        if (handle != INVALID_HANDLE_VALUE) SetupDiDestroyDeviceInfoList(handle);
    }
    DeviceList(const DeviceList&) = delete;
    DeviceList& operator=(const DeviceList&) = delete;

    /// INVALID_HANDLE_VALUE when there is no list.
    HDEVINFO Handle() const { return handle; }

  private:
    HDEVINFO handle;
};

bool IsPresent(DEVINST device) {
    ULONG status = 0;
    ULONG problem = 0;
    return CM_Get_DevNode_Status(&status, &problem, device, 0) == CR_SUCCESS;
}

bool HasIdentifier(DEVINST device) {
    wchar_t identifier[kNameLength];
    return CM_Get_Device_IDW(device, identifier, kNameLength, 0) == CR_SUCCESS;
}

bool ReadFriendlyName(HDEVINFO devices, SP_DEVINFO_DATA& device, std::string& friendlyName) {
    wchar_t name[kNameLength] = L"none";
    if (!SetupDiGetDeviceRegistryPropertyW(devices, &device, SPDRP_FRIENDLYNAME, nullptr,
                                           reinterpret_cast<BYTE*>(name), sizeof(name), nullptr)) {
        return false;
    }
    // The registry may hold a text without its terminating zero.
    int length = 0;
    while (length < static_cast<int>(kNameLength) && name[length] != L'\0') ++length;
    char narrow[3 * kNameLength];
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, name, length, narrow, sizeof(narrow), nullptr, nullptr);
    friendlyName.assign(narrow, static_cast<std::size_t>(bytes));
    return bytes > 0 || length == 0;
}

}  // namespace

PlatformCheck CheckPlatformVersion() {
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    if (!GetVersionExW(&version)) return PlatformCheck::kVersionUnknown;
    const bool isXpOr2003 =
        version.dwMajorVersion == 5 && (version.dwMinorVersion == 1 || version.dwMinorVersion == 2);
    return isXpOr2003 || version.dwMajorVersion >= 6 ? PlatformCheck::kSupported : PlatformCheck::kTooOld;
}

std::vector<std::string> ListPresentPortDevices() {
    const DeviceList list;
    const HDEVINFO devices = list.Handle();
    if (devices == INVALID_HANDLE_VALUE) return {};
    std::vector<std::string> names;
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof(device);
    for (DWORD index = 0; SetupDiEnumDeviceInfo(devices, index, &device); ++index) {
        std::string name;
        if (IsPresent(device.DevInst) && HasIdentifier(device.DevInst) &&
            ReadFriendlyName(devices, device, name)) {
            names.push_back(name);
        }
    }
    return names;
}

}  // namespace Korr::Plim::Trace::Tarnel
