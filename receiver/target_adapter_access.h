#pragma once

#include <memory>

#include "host_api/MemoryAccessor.h"
#include "host_api/entry_points.h"
#include "source_utilities/uDll.h"

namespace Korr::Plim::Trace::Tarnel {

/// The host's library "ICETargetAdapter", loaded with the first request and kept.
class TargetAdapterAccess {
  public:
    /// The memory accessor of a CPU, owned by the host's library. \param cpuName not null
    /// \return the handle that the library wrote; null when it gave an adapter without writing a handle
    /// \throws cPelkitError without library, factory or adapter; the next call tries again
    MemoryAccessor* GetTargetAdapter(const char* cpuName);

  private:
    void LoadFactory();

    std::unique_ptr<KORR_PLIM::uDll> library;    ///< null until first needed
    NewTargetAdapterFunction factory = nullptr;  ///< null until first needed
};

}  // namespace Korr::Plim::Trace::Tarnel
