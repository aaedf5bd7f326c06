#pragma once

#include <cstdint>

#include "host_api/CReceiver.h"
#include "host_api/DeviceIdentifier.h"
#include "host_api/MemoryAccessor.h"
#include "host_api/SetupAdapter.h"

/// \file
/// Exported functions: those of the plug-in, and those that the plug-in looks up in the host's libraries. All
/// have unmangled names and the platform's standard calling convention.

namespace Korr::Plim::Trace {

/// Plug-in, export "CreateRcvr": the process's single receiver, one reference more. Never null. [host thread]
/// \throws cPelkitError when the receiver cannot be made
using CreateRcvrFunction = CReceiver* (*)();
/// Plug-in, export "DestroyRcvr": gives a reference back; any other pointer than the live receiver does
/// nothing. [host thread]
using DestroyRcvrFunction = void (*)(CReceiver*);

/// Library "SetupAdapter4": a new set-up adapter, or null.
using CreateSetupAdapterFunction = SetupAdapter* (*)();
/// Library "SetupAdapter4": takes the adapter back.
using DestroySetupAdapterFunction = void (*)(SetupAdapter*);

/// Library "DeviceIdentifier": a new device identifier, or null.
using CreateDeviceIdentifierFunction = DeviceIdentifier* (*)();
/// Library "DeviceIdentifier": takes the identifier back; the second argument is 0.
using DestroyDeviceIdentifierFunction = void (*)(DeviceIdentifier*, uint32_t);

/// Library "ICETargetAdapter": the memory accessor of a CPU, also written to `handle`; null when there is
/// none. Owned by the library.
using NewTargetAdapterFunction = MemoryAccessor* (*)(const char* cpuName, MemoryAccessor** handle);

}  // namespace Korr::Plim::Trace
