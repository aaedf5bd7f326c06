#include "receiver/device_support.h"

#include <cstdint>

#include "receiver/host_library.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

enum class PinRule { kSwd, kCjtag };

struct SupportedDevice {
    uint32_t value;
    uint32_t mask;
    PinRule rule;
};

/// Asked in this order; the first match decides.
constexpr SupportedDevice kSupportedDevices[] = {
    {0xF0F0F0F0, 0xFFFFFFFF, PinRule::kSwd},   {0x0B9AF02F, 0x0FFFFFFF, PinRule::kSwd},
    {0x0BB4D02F, 0x0FFFFFFF, PinRule::kSwd},   {0x0B99A02F, 0x0FFFFFFF, PinRule::kCjtag},
    {0x0B9BE02F, 0x0FFFFFFF, PinRule::kCjtag}, {0x0BB4102F, 0x0FFFFFFF, PinRule::kCjtag},
};

void RequireSwdSetup(SetupAdapterAccess& setup, const std::string& cpuName) {
    if (setup.CheckSwdSetup(cpuName)) return;
    ThrowError(
        "Please check the target configuration(VELXML). Debug probe protocol must be SWD with COM port "
        "connected to TDO.");
}

void RequireCjtagSetup(SetupAdapterAccess& setup, const std::string& cpuName) {
    if (setup.CheckCjtagSetup(cpuName)) return;
    // Both items are numbered 1.
    ThrowError(
        "Please check the target configuration(VELXML). Debug probe protocol must be set to either: \n"
        " 1. 2-pin CJTAG with Aux COM port connected to target TDO or UART pin.\n"
        " 1. 4-pin CJTAG with Aux COM port connected to target UART pin.");
}

}  // namespace

bool CheckDeviceSupport(DeviceIdentifier* identifier, SetupAdapterAccess& setup, const std::string& cpuName) {
    if (identifier == nullptr) return false;
    for (const SupportedDevice& device : kSupportedDevices) {
        if (!identifier->Match(device.value, device.mask)) continue;
        if (device.rule == PinRule::kSwd) {
            RequireSwdSetup(setup, cpuName);
        } else {
            RequireCjtagSetup(setup, cpuName);
        }
        return true;
    }
    return false;
}

}  // namespace Korr::Plim::Trace::Tarnel
