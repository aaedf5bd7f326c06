// Makes the compiler lay out the virtual tables of the host's interfaces and of the plug-in's own classes;
// nothing here is ever run.

#include "host_api/CChannelDriverProgress.h"
#include "host_api/entry_points.h"
#include "options/ChannelOptionsHandler.h"
#include "uart/UARTDataCollector.h"

template <typename Interface>
struct LaidOut : Interface {
    LaidOut();
};
template <typename Interface>
LaidOut<Interface>::LaidOut() = default;

using namespace Korr::Plim::Trace;
template struct LaidOut<CReceiver>;
template struct LaidOut<CChannelDriver>;
template struct LaidOut<CChannelDriverProgress>;
template struct LaidOut<TargetAdapter>;
template struct LaidOut<SetupAdapter>;
template struct LaidOut<DeviceIdentifier>;
template struct LaidOut<MemoryAccessor>;
template struct LaidOut<Tarnel::ChannelOptionsHandler>;

// A table stands where a constructor or the destructor is defined.
namespace Korr::Plim::Trace::Tarnel {
UARTDataCollector::~UARTDataCollector() {}
}  // namespace Korr::Plim::Trace::Tarnel
