// The deleting destructors that stand in the tables. No host calls them; they end what the receiver still
// lists, so the process ends behind them without unloading anything.
#include "tests/abi/host/scene.h"

namespace host {

void CheckDestructors(const Plugin& plugin, bool raw) {
    Group(raw ? "destructors, by slot" : "destructors, by name");
    ResetScript();
    CReceiver* const receiver = plugin.create();
    CChannelDriver* const driver = receiver->AllocateChannelDriver(kCpu, FreshAdapter(), kCpuId, 1);
    if (raw) {
        Check(Slot<void*>(driver, 0, 0u) == driver, "driver slot 0, flags 0: the same object");
    } else {
        delete driver;
        Check(true, "driver deleted");
    }
    Check(Journal().EndsWith("640"), "the driver let the target adapter go");
    Check(HeapIsSound(), "the heap is sound");
    End(PrintGroups() ? 42 : 1);
}

}  // namespace host
