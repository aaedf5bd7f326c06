// Every slot of CReceiver, and of its base CTargetStateNotification.
#include "tests/abi/host/scene.h"

namespace host {
namespace {

void CheckEmptyReceiver(const ReceiverCalls& receiver) {
    const char* const way = receiver.Way();
    const LogWatch log;
    Check(receiver.GetNumCpus() == 0, "slot 4 GetNumCpus without a driver (%s)", way);
    Check(log.Holds("number of attached cpus is 0"), "slot 4 GetNumCpus logs (%s)", way);
    receiver.GetCpuNames(nullptr);
    Check(receiver.ConstantQueryA() == 1, "slot 8 ConstantQueryA (%s)", way);
    Check(receiver.GetChannelDriver(kCpu) == nullptr, "slot 10 GetChannelDriver without a driver (%s)", way);
    Check(receiver.GetNextAvailableChannel() == 1, "slot 11 GetNextAvailableChannel without a driver (%s)",
          way);
    Check(log.Holds("next available channel is 1"), "slot 11 GetNextAvailableChannel logs (%s)", way);
    Check(receiver.ConstantQueryB(5) == 0, "slot 12 ConstantQueryB (%s)", way);
    receiver.ProgressNotice();
    Check(receiver.ConstantQueryC() == 0, "slots 13 ProgressNotice, 14 ConstantQueryC (%s)", way);
    receiver.Release(nullptr);
    Check(receiver.GetNumCpus() == 0, "slot 7 ReleaseChannelDriver of null does nothing (%s)", way);
}

void CheckAllocation(const ReceiverCalls& receiver) {
    const char* const way = receiver.Way();
    TargetAdapter* const adapter = FreshAdapter();
    ResetScript();
    CChannelDriver* const driver = receiver.Allocate(kCpu, adapter, kCpuId, 1);
    Check(driver != nullptr, "slot 6 AllocateChannelDriver (%s)", way);
    Check(Calls(Place::Initialise) != 0 && Calls(Place::GetSetupFile) != 0 && Calls(Place::Match) != 0 &&
              Calls(Place::NewTargetAdapter) == 1 && HostScript()->wrongNames == 0,
          "slot 6 asks set-up adapter 0 and 9, identifier 10 and the factory, for the right CPU (%s)", way);
    Check(Calls(Place::CreateSetupAdapter) == Calls(Place::DestroySetupAdapter),
          "slot 6 gives every set-up adapter back (%s)", way);
    CChannelDriver* const second = receiver.Allocate(kCpu, adapter, kCpuId, 2);
    Check(second != driver && receiver.GetNumCpus() == 2, "slot 6 AllocateChannelDriver a second time (%s)",
          way);
    Check(receiver.GetChannelDriver(kCpu) == driver, "slot 10 GetChannelDriver finds the first (%s)", way);
    Check(receiver.GetChannelDriver("board/cortex_M4_0") == nullptr, "slot 10 compares exactly (%s)", way);
    Check(receiver.GetNextAvailableChannel() == 3, "slot 11 GetNextAvailableChannel (%s)", way);
    char names[2][40] = {"", ""};
    char* buffers[] = {names[0], names[1]};
    receiver.GetCpuNames(buffers);
    Check(Equal(names[0], kCpu) && Equal(names[1], kCpu), "slot 5 GetCpuNames fills the host's buffers (%s)",
          way);
    receiver.Release(driver);
    Check(receiver.GetNumCpus() == 1 && receiver.GetChannelDriver(kCpu) == second,
          "slot 7 ReleaseChannelDriver (%s)", way);
    Check(Journal().Count(0) == 1, "slot 7 lets the target adapter go (%s)", way);
    receiver.Release(second);
}

}  // namespace

void CheckReceiver(const Plugin& plugin, bool raw) {
    Group(raw ? "receiver, by slot" : "receiver, by name");
    ResetScript();
    CReceiver* const first = plugin.create();
    Check(first != nullptr && Calls(Place::CreateDeviceIdentifier) == 1, "CreateRcvr makes a receiver");
    Check(plugin.create() == first, "CreateRcvr gives the same receiver again");
    plugin.destroy(first);
    const ReceiverCalls receiver{first, raw};
    CheckEmptyReceiver(receiver);
    CheckAllocation(receiver);
    plugin.destroy(nullptr);
    Check(Calls(Place::DestroyDeviceIdentifier) == 0, "DestroyRcvr of null does nothing");
    plugin.destroy(first);
    Check(Calls(Place::DestroyDeviceIdentifier) == 1, "the last DestroyRcvr destroys the receiver");
    plugin.destroy(first);
    Check(Calls(Place::DestroyDeviceIdentifier) == 1, "DestroyRcvr of a receiver that is gone does nothing");
}

void CheckNotifications(const Plugin& plugin, bool raw) {
    Group(raw ? "target state notifications, by slot" : "target state notifications, by name");
    ResetScript();
    const Session session(plugin, raw);
    // The host holds the object by its base as well.
    CTargetStateNotification* const base = session.receiver.receiver;
    Check(static_cast<void*>(base) == session.receiver.receiver, "the base stands at the object's beginning");
    const ReceiverCalls& receiver = session.receiver;
    session.driver.SetConfiguration(WriteOptions("48000000", "1249", Variable("TARNEL_PROBE_PORT")));
    receiver.TargetStateChanged(kCpu, 7);
    Check(session.driver.Code() == 16, "slot 0 TargetStateChanged: halted, nothing recorded");
    receiver.TargetStateChanged(kCpu, 6);
    Check(session.driver.Code() == 6, "slot 0 TargetStateChanged: running, the recording starts");
    receiver.TargetNotice(kCpu, 1, 2);
    receiver.TargetStateChanged("another", 7);
    receiver.TargetStateChanged(nullptr, 7);
    Check(session.driver.Code() == 6, "slot 0 of another CPU and of null, slot 2 TargetNotice: nothing");
    const LogWatch log;
    receiver.TargetEvent(kCpu, 1);
    Check(!log.Holds("eJOB_MODIFIED_DISABLE_RESUME"), "slot 1 TargetEvent: an unknown event, nothing");
    receiver.TargetEvent(kCpu, 0);
    Check(log.Holds("state changed to eJOB_MODIFIED_DISABLE_RESUME"),
          "slot 1 TargetEvent reaches the driver");
    receiver.TargetStateChanged(kCpu, 8);
    Check(session.driver.Code() == 11, "slot 0 TargetStateChanged: halted, the recording stops");
    receiver.TargetStateChanged(kCpu, 3);
    StatusRecord record{99, "untouched", {9, 9, 9, 9, 9}};
    session.driver.GetStatus(record);
    Check(record.code == 99 && log.Holds("CPU unregistered."), "slot 0 TargetStateChanged: no connection");
}

void CheckEverySlotCalled(const Plugin& plugin) {
    Group("slots called by number");
    ResetScript();
    const Session session(plugin, false);
    CChannelDriver* const driver = session.driver.driver;
    Check(SlotsCalled(session.receiver.receiver) == 0x7FFF - (1u << 3),
          "CReceiver: 0 to 14 but the destructor, 3");
    Check(SlotsCalled(driver) == 0x3FFFF - 1, "CChannelDriver: 0 to 17 but the destructor, 0");
    Check(SlotsCalled(dynamic_cast<CChannelDriverProgress*>(driver)) == 1, "CChannelDriverProgress: 0");
}

}  // namespace host
