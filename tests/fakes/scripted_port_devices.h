#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "uart/port_devices.h"

/// \file
/// Controls of the scripted body of uart/port_devices.h. One thread.

namespace Korr::Plim::Trace::Tarnel {

struct ScriptedPortDevice {
    std::string friendlyName;
    bool present = true;   ///< false: listed for the class and not there
    bool readable = true;  ///< false: its identifier or name cannot be read
};

struct ScriptedPortDevices {
    PlatformCheck version = PlatformCheck::kSupported;
    bool listOpens = true;
    std::vector<ScriptedPortDevice> devices;
    std::function<void()> whileChecking;  ///< called in CheckPlatformVersion; may throw
    std::function<void()> whileListing;   ///< called in ListPresentPortDevices; may throw

    uint32_t versionChecks = 0;  ///< calls of CheckPlatformVersion
    uint32_t listings = 0;       ///< calls of ListPresentPortDevices
};

/// The one script of the process; assign a default one to start afresh.
ScriptedPortDevices& PortDevicesScript();

}  // namespace Korr::Plim::Trace::Tarnel
