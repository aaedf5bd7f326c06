// usage: port_device NUMBER
//
// Gives COM<NUMBER> a driver's device, as the system does while a probe is plugged in, and takes it away when
// its input ends: Wine knows of no device behind a port that was linked while it ran. Says "ready" in
// between.
#include <windows.h>
#include <winternl.h>

#include <cstdio>
#include <string>

namespace {

using CreateLink = NTSTATUS(NTAPI*)(HANDLE*, ACCESS_MASK, OBJECT_ATTRIBUTES*, UNICODE_STRING*);

UNICODE_STRING Counted(std::wstring& text) {
    const auto bytes = static_cast<USHORT>(text.size() * sizeof(wchar_t));
    return {bytes, bytes, text.data()};
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) return 2;
    const std::string number = arguments[1];
    std::wstring name = L"\\??\\COM" + std::wstring(number.begin(), number.end());
    std::wstring device = L"\\Device\\Probe" + std::to_wstring(GetCurrentProcessId());
    UNICODE_STRING countedName = Counted(name);
    UNICODE_STRING countedDevice = Counted(device);
    OBJECT_ATTRIBUTES attributes;
    InitializeObjectAttributes(&attributes, &countedName, OBJ_CASE_INSENSITIVE, nullptr, nullptr);
    const auto create = reinterpret_cast<CreateLink>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ntdll.dll"), "NtCreateSymbolicLinkObject")));
    constexpr ACCESS_MASK kAllAccess = 0xF0001;
    HANDLE link = nullptr;
    if (create == nullptr || create(&link, kAllAccess, &attributes, &countedDevice) < 0) return 1;
    std::puts("ready");
    std::fflush(stdout);
    while (std::getchar() != EOF) {
    }
    CloseHandle(link);
    return 0;
}
