// The simulated host library "ICETargetAdapter".
#include <map>
#include <memory>
#include <string>

#include "simulator/host_libraries/export_mark.h"
#include "simulator/host_libraries/hosts_error.h"
#include "simulator/host_libraries/journal.h"
#include "simulator/host_libraries/library_name.h"
#include "simulator/host_libraries/memory_accessor.h"
#include "simulator/host_libraries/object_life.h"
#include "simulator/host_libraries/target_adapter.h"

namespace Korr::Plim::Trace::Simulator {

namespace {

/// One accessor per CPU name, owned by the library until it is unloaded.
std::map<std::string, std::unique_ptr<SimulatedMemory>>& Accessors() {
    static std::map<std::string, std::unique_ptr<SimulatedMemory>> accessors;
    return accessors;
}

ObjectLife<SimulatedTargetAdapter>& Adapters() {
    static ObjectLife<SimulatedTargetAdapter> adapters;
    return adapters;
}

}  // namespace

SIMULATED_EXPORT MemoryAccessor* NewTargetAdapter(const char* cpuName, MemoryAccessor** handle) try {
    JournalCall call(kTargetAdapterLibrary, "NewTargetAdapter", {{"cpu", TextArgument(cpuName)}});
    if (handle != nullptr) *handle = nullptr;
    if (cpuName == nullptr || handle == nullptr) {
        call.Violation(cpuName == nullptr ? "null CPU name" : "null handle");
        return nullptr;
    }
    if (!call.board().KnowsCpu(cpuName)) {
        call.Violation("unknown CPU");
        return nullptr;
    }
    if (!call.board().createTargetAdapter) return nullptr;
    auto& accessor = Accessors()[cpuName];
    if (accessor == nullptr) accessor = std::make_unique<SimulatedMemory>(cpuName);
    *handle = accessor.get();
    call.ReturnName("accessor");
    return accessor.get();
} catch (...) {
    ThrowAsHostsError();
}

SIMULATED_EXPORT TargetAdapter* CreateTargetAdapter(const char* cpuName, uint32_t cpuId) try {
    JournalCall call(kTargetAdapterLibrary, "CreateTargetAdapter",
                     {{"cpu", TextArgument(cpuName)}, {"cpu_id", cpuId}});
    if (cpuName == nullptr || !call.board().KnowsCpu(cpuName)) {
        call.Violation(cpuName == nullptr ? "null CPU name" : "unknown CPU");
        return nullptr;
    }
    call.ReturnName("adapter");
    return Adapters().Create(cpuName, cpuId);
} catch (...) {
    ThrowAsHostsError();
}

SIMULATED_EXPORT void DestroyTargetAdapter(TargetAdapter* adapter) {
    try {
        JournalCall call(kTargetAdapterLibrary, "DestroyTargetAdapter",
                         {{"adapter", ObjectArgument(adapter, "adapter")}});
        EndObject(call, Adapters(), adapter, "adapter");
    } catch (...) {
        // Without a journal line: a host gives objects back where it must not fail.
        Adapters().Destroy(adapter);
    }
}

}  // namespace Korr::Plim::Trace::Simulator
