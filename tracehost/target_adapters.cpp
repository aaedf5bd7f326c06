#include "tracehost/target_adapters.h"

namespace Korr::Plim::Trace::Tracehost {

TargetAdapters::Owned TargetAdapters::Create(const char* cpuName, uint32_t cpuId) {
    if (!library) library.emplace("ICETargetAdapter");
    const auto create = library->Entry<CreateTargetAdapterFunction>("CreateTargetAdapter");
    const GiveBack giveBack{library->Entry<DestroyTargetAdapterFunction>("DestroyTargetAdapter")};
    return Owned(create(cpuName, cpuId), giveBack);
}

}  // namespace Korr::Plim::Trace::Tracehost
