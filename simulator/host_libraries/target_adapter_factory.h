#pragma once

#include <cstdint>

#include "host_api/TargetAdapter.h"

/// \file
/// How a host gets the target adapter that it passes to AllocateChannelDriver. A debugger has its own way;
/// the simulated "ICETargetAdapter" offers these two exports for it, besides NewTargetAdapter, which the
/// plug-in uses. Names are unmangled.

namespace Korr::Plim::Trace {

/// Export "CreateTargetAdapter": the target adapter of a CPU, for one channel driver. \param cpuName copied
/// \param cpuId the only id that the adapter accepts later \return null for a null name or a CPU that the
/// board does not know; the caller gives it back with DestroyTargetAdapter after the driver's release [host
/// thread]
using CreateTargetAdapterFunction = TargetAdapter* (*)(const char* cpuName, uint32_t cpuId);
/// Export "DestroyTargetAdapter": takes an adapter back; never throws. [host thread]
using DestroyTargetAdapterFunction = void (*)(TargetAdapter* adapter);

}  // namespace Korr::Plim::Trace
