#pragma once

#include <cstdint>
#include <string>

namespace Korr::Plim::Trace::Tracehost {

/// Seam: what stands for COM port `number` at this moment. Empty: there is none. Two texts that differ: the
/// port was unplugged in between, whatever has come in its place. Nothing of the port is touched.
std::string PortIdentity(uint32_t number);

/// Seam: the device in the place of COM port `number`, links followed; empty when there is none.
std::string PortDevice(uint32_t number);

/// Seam: whether this process has a device open that has vanished from the system, whatever stands in its
/// place by now. Always false on Windows, where an open port keeps its name. \param device from PortDevice,
/// while it was there
bool HeldDeviceVanished(const std::string& device);

/// Seam: a COM port as messages name it: "COM5" on Windows, "COM5 (/dev/ttyACM5)" on Linux.
std::string PortName(uint32_t number);

}  // namespace Korr::Plim::Trace::Tracehost
