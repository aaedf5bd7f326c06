// The host's library "DeviceIdentifier".
#include "tests/abi/host/library.h"

namespace {

std::string GetRegisterAddress(const char* registerName) {
    Act(Place::GetRegisterAddress);
    ExpectName(registerName, "CPUCLKDIV");
    return StringOf(HostScript()->registerAddress);
}

struct Module final : DeviceModule {
    std::string GetRegisterAddress(const char* registerName) override {
        return ::GetRegisterAddress(registerName);
    }
} module;

// A result that is an object comes where the caller says, behind `this`.
std::string* RawGetRegisterAddress(Raw*, std::string* result, const char* registerName) {
    return new (result) std::string(GetRegisterAddress(registerName));
}
const void* const moduleTable[] = {SLOT(RawGetRegisterAddress)};
Raw rawModule = {moduleTable};

void* GetModule(const char* moduleName) {
    Act(Place::GetModule);
    ExpectName(moduleName, "MOD_SYSCLK");
    return HostScript()->rawTables ? static_cast<void*>(&rawModule) : static_cast<DeviceModule*>(&module);
}

struct Information final : DeviceInformation {
    DeviceModule* GetModule(const char* moduleName) override {
        return static_cast<DeviceModule*>(::GetModule(moduleName));
    }
} information;

void* RawGetModule(Raw*, const char* moduleName) { return GetModule(moduleName); }
const void* const informationTable[] = {SLOT(RawGetModule)};
Raw rawInformation = {informationTable};

bool Match(uint32_t value, uint32_t mask) {
    Act(Place::Match);
    return (HostScript()->device & mask) == (value & mask);
}

void* GetDeviceInformation(const char* deviceName) {
    Act(Place::GetDeviceInformation);
    ExpectName(deviceName, strlen(deviceName), HostScript()->cpu);
    return HostScript()->rawTables ? static_cast<void*>(&rawInformation)
                                   : static_cast<DeviceInformation*>(&information);
}

struct Identifier final : DeviceIdentifier {
    void Reserved0() override { Reserved(); }
    void Reserved1() override { Reserved(); }
    void Reserved2() override { Reserved(); }
    void Reserved3() override { Reserved(); }
    void Reserved4() override { Reserved(); }
    void Reserved5() override { Reserved(); }
    void Reserved6() override { Reserved(); }
    void Reserved7() override { Reserved(); }
    void Reserved8() override { Reserved(); }
    void Reserved9() override { Reserved(); }
    bool Match(uint32_t value, uint32_t mask) override { return ::Match(value, mask); }
    DeviceInformation* GetDeviceInformation(const char* deviceName) override {
        return static_cast<DeviceInformation*>(::GetDeviceInformation(deviceName));
    }
} identifier;

// Only the low byte of the result counts: the others are what was in the register.
unsigned long long RawMatch(Raw*, uint32_t value, uint32_t mask) {
    return 0xABCDEF0123456700u | (Match(value, mask) ? 1 : 0);
}
void* RawGetDeviceInformation(Raw*, const char* deviceName) { return GetDeviceInformation(deviceName); }
const void* const table[] = {RESERVED, RESERVED, RESERVED,       RESERVED,
                             RESERVED, RESERVED, RESERVED,       RESERVED,
                             RESERVED, RESERVED, SLOT(RawMatch), SLOT(RawGetDeviceInformation)};
Raw raw = {table};

}  // namespace

EXPORT void* CreateDeviceIdentifier() {
    Act(Place::CreateDeviceIdentifier);
    return HostScript()->rawTables ? static_cast<void*>(&raw) : static_cast<DeviceIdentifier*>(&identifier);
}
EXPORT void DestroyDeviceIdentifier(void* given, uint32_t argument) {
    Act(Place::DestroyDeviceIdentifier);
    if (given != &raw && given != static_cast<DeviceIdentifier*>(&identifier)) {
        host::Fail("DestroyDeviceIdentifier of another object");
    }
    if (argument != 0) host::Fail("DestroyDeviceIdentifier with another argument than 0");
}
