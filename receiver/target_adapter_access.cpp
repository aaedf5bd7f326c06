#include "receiver/target_adapter_access.h"

#include "receiver/host_library.h"

namespace Korr::Plim::Trace::Tarnel {

MemoryAccessor* TargetAdapterAccess::GetTargetAdapter(const char* cpuName) {
    if (factory == nullptr) LoadFactory();
    MemoryAccessor* handle = nullptr;
    if (factory(cpuName, &handle) == nullptr) {
        ThrowError("Cannot get target adapter for SWO receiver. Bad installation or setup.");
    }
    return handle;
}

void TargetAdapterAccess::LoadFactory() {
    if (!library) library = LoadHostLibrary("ICETargetAdapter");
    factory = FindEntry<NewTargetAdapterFunction>(*library, "NewTargetAdapter");
    if (factory == nullptr) ThrowError("Cannot get target adapter factory. Bad installation.");
}

}  // namespace Korr::Plim::Trace::Tarnel
