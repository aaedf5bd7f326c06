#pragma once

#include <string>

#include "host_api/DeviceIdentifier.h"
#include "receiver/setup_adapter_access.h"

namespace Korr::Plim::Trace::Tarnel {

/// Whether the connected device can send SWO.
/// \param identifier not owned; null answers false
/// \param setup asked for the probe's pins when the device needs certain ones
/// \throws cPelkitError when the device can, but the probe's pins are set up otherwise
bool CheckDeviceSupport(DeviceIdentifier* identifier, SetupAdapterAccess& setup, const std::string& cpuName);

}  // namespace Korr::Plim::Trace::Tarnel
