#pragma once

#include <cstdint>
#include <string>

namespace Korr::Plim::Trace::Tracehost {

/// Seam: what stands for COM port `number` at this moment. Empty: there is none. Two texts that differ: the
/// port was unplugged in between, whatever has come in its place. Nothing of the port is touched.
std::string PortIdentity(uint32_t number);

/// Seam: a COM port as messages name it: "COM5" on Windows, "COM5 (/dev/ttyACM5)" on Linux.
std::string PortName(uint32_t number);

}  // namespace Korr::Plim::Trace::Tracehost
