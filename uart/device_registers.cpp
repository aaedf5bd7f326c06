#include "uart/device_registers.h"

#include <algorithm>
#include <cstdlib>
#include <string>

#include "host_api/throw_error.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

constexpr const char* kClockModule = "MOD_SYSCLK";

[[noreturn]] void ThrowUndetermined() {
    ThrowError("Internal error: Trace clock freq could not be deftermined for this device");
}

}  // namespace

ClockRegisters::ClockRegisters(const char* deviceName, DeviceIdentifier* information, MemoryAccessor* access)
    : module(nullptr), memory(access) {
    DeviceInformation* device = nullptr;
    if (information != nullptr && deviceName != nullptr) {
        device = information->GetDeviceInformation(deviceName);
    }
    if (device == nullptr) ThrowError("Internal error: Device information could not be parsed");
    module = device->GetModule(kClockModule);
    if (module == nullptr) ThrowUndetermined();
}

uint32_t ClockRegisters::Address(const char* registerName) const {
    const HostString text = module->GetRegisterAddress(registerName);
    if (text.empty()) ThrowUndetermined();
    // 64 bits on every platform, so that an address which is too large ends alike everywhere.
    const unsigned long long address = std::strtoull(text.c_str(), nullptr, 16);
    return static_cast<uint32_t>(std::min<unsigned long long>(address, UINT32_MAX));
}

TargetWord ClockRegisters::Read(const char* registerName) const {
    return TargetWord(memory, Address(registerName));
}

}  // namespace Korr::Plim::Trace::Tarnel
