#include "uart/port_devices.h"

#include "tests/fakes/scripted_port_devices.h"

namespace Korr::Plim::Trace::Tarnel {

ScriptedPortDevices& PortDevicesScript() {
    static ScriptedPortDevices script;
    return script;
}

PlatformCheck CheckPlatformVersion() {
    ++PortDevicesScript().versionChecks;
    if (PortDevicesScript().whileChecking) PortDevicesScript().whileChecking();
    return PortDevicesScript().version;
}

std::vector<std::string> ListPresentPortDevices() {
    ScriptedPortDevices& script = PortDevicesScript();
    ++script.listings;
    if (script.whileListing) script.whileListing();
    std::vector<std::string> names;
    for (const ScriptedPortDevice& device : script.devices) {
        const bool fits = device.friendlyName.size() < 200;
        if (script.listOpens && device.present && device.readable && fits) {
            names.push_back(device.friendlyName);
        }
    }
    return names;
}

}  // namespace Korr::Plim::Trace::Tarnel
