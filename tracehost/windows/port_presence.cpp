#include "tracehost/port_presence.h"

#include <windows.h>

#include <array>

namespace Korr::Plim::Trace::Tracehost {

/// The name of the driver's device behind the port: it goes with the device.
std::string PortIdentity(uint32_t number) {
    std::array<char, 4096> target{};
    const DWORD length =
        QueryDosDeviceA(("COM" + std::to_string(number)).c_str(), target.data(), target.size());
    return length != 0 ? std::string(target.data()) : std::string();
}

std::string PortDevice(uint32_t number) {
    return PortIdentity(number).empty() ? std::string() : PortName(number);
}

bool HeldDeviceVanished(const std::string&) { return false; }

std::string PortName(uint32_t number) { return "COM" + std::to_string(number); }

}  // namespace Korr::Plim::Trace::Tracehost
