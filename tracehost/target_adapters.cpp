#include "tracehost/target_adapters.h"

#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

bool TargetAdapters::Load() {
    try {
        if (!library) library.emplace("ICETargetAdapter");
        return true;
    } catch (const HostError&) {
        return false;
    }
}

TargetAdapters::Owned TargetAdapters::Create(const char* cpuName, uint32_t cpuId) {
    if (!Load()) return nullptr;
    const auto create = library->Entry<CreateTargetAdapterFunction>("CreateTargetAdapter");
    const GiveBack giveBack{library->Entry<DestroyTargetAdapterFunction>("DestroyTargetAdapter")};
    return Owned(create(cpuName, cpuId), giveBack);
}

}  // namespace Korr::Plim::Trace::Tracehost
