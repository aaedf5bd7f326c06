#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Korr::Plim::Trace::Tarnel {

/// Whether the platform can list its port devices.
enum class PlatformCheck {
    kSupported,
    kVersionUnknown,  ///< the version query failed
    kTooOld,
};

/// Seam: asks for the platform's version. Platforms without such a rule answer kSupported.
PlatformCheck CheckPlatformVersion();

/// Seam: friendly names, in UTF-8, of the devices of the ports (COM and LPT) class that are present, in the
/// platform's order. A device whose state, identifier or name cannot be read, or whose name is longer than
/// 199 characters, is left out; a list that cannot be opened is empty.
std::vector<std::string> ListPresentPortDevices();

}  // namespace Korr::Plim::Trace::Tarnel
