// The deleting destructors that stand in the tables. No host calls them, because the receiver gives objects
// back itself; they are the table's all the same. What they leave behind in the plug-in goes with it: it is
// loaded anew each time.
#include "tests/abi/host/scene.h"

namespace host {
namespace {

constexpr uint32_t kKeepMemory = 0;
constexpr uint32_t kFreeMemory = 1;

const char* Name(uint32_t flags) { return flags == kKeepMemory ? "keeps the memory" : "frees the memory"; }

/// An object whose destructor stands in slot `slot`, destroyed. The memory of one that keeps it is the
/// caller's.
template <class Object>
void Destroy(Object* object, int slot, bool raw, uint32_t flags) {
    Check(BlockSize(object) != 0 && !IsFreed(object),
          "slot %d: the object is a block of the C runtime's heap", slot);
    if (raw) {
        Check(Slot<void*>(object, slot, flags) == object, "slot %d with flags %u answers the object", slot,
              flags);
    } else if (flags == kFreeMemory) {
        delete object;
    } else {
        object->~Object();
    }
    Check(IsFreed(object) == (flags == kFreeMemory), "slot %d %s", slot, Name(flags));
    if (flags == kKeepMemory) ::operator delete(object);
}

void CheckDriversDestructor(bool raw, uint32_t flags) {
    ResetScript();
    const Plugin plugin;
    CReceiver* const receiver = plugin.create();
    CChannelDriver* const driver = receiver->AllocateChannelDriver(kCpu, FreshAdapter(), kCpuId, 1);
    Destroy(driver, 0, raw, flags);
    Check(Journal().EndsWith("640"), "CChannelDriver slot 0 lets the target adapter go");
}

void CheckReceiversDestructor(bool raw, uint32_t flags) {
    ResetScript();
    const Plugin plugin;
    CReceiver* const receiver = plugin.create();
    CChannelDriver* const driver = receiver->AllocateChannelDriver(kCpu, FreshAdapter(), kCpuId, 1);
    Destroy<CTargetStateNotification>(receiver, 3, raw, flags);
    Check(IsFreed(driver) && Journal().EndsWith("640"), "CReceiver slot 3 destroys the receiver's driver");
    Check(Calls(Place::DestroyDeviceIdentifier) == 1, "CReceiver slot 3 gives the device identifier back");
}

}  // namespace

void CheckDestructors(bool raw) {
    Group(raw ? "destructors, by slot" : "destructors, by name");
    Check(HeapIsChecked(), "the system checks the heap");
    const uint32_t both[] = {kKeepMemory, kFreeMemory};
    for (const uint32_t flags : both) {
        CheckDriversDestructor(raw, flags);
        CheckReceiversDestructor(raw, flags);
        Check(HeapIsSound(), "the heap is sound");
    }
}

}  // namespace host
