#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "simulator/host_libraries/target_adapter_factory.h"
#include "tracehost/library.h"

namespace Korr::Plim::Trace::Tracehost {

/// Gets target adapters from the host's library "ICETargetAdapter", which is loaded with the first one and
/// kept.
class TargetAdapters {
  public:
    struct GiveBack {
        DestroyTargetAdapterFunction destroy = nullptr;
        void operator()(TargetAdapter* adapter) const { destroy(adapter); }
    };
    using Owned = std::unique_ptr<TargetAdapter, GiveBack>;

    /// The adapter of a CPU; null when the library gives none or cannot be loaded: the plug-in needs the same
    /// library and says so in its own words. \throws HostError when the library's exports are missing
    Owned Create(const char* cpuName, uint32_t cpuId);

  private:
    bool Load();

    std::optional<Library> library;
};

}  // namespace Korr::Plim::Trace::Tracehost
