// Every slot of CChannelDriver but the destructor, and those of TargetAdapter.
#include "tests/abi/host/pelkit.h"
#include "tests/abi/host/scene.h"

namespace host {
namespace {

bool Attribute(const DriverCalls& driver, const char* name, uint32_t type, const char* value) {
    TraceAttribute answer;
    driver.GetAttribute(name, answer);
    return answer.name == name && answer.type == type && Equal(answer.value, value);
}

void CheckFreshDriver(const DriverCalls& driver) {
    const char* const way = driver.Way();
    StatusRecord record{99, "untouched by anyone, and long", {9, 9, 9, 9, 9}};
    driver.GetStatus(record);
    Check(record.code == 1 && Equal(record.text.c_str(), "Calibrating ..."),
          "slot 12 GetStatus: code and text (%s)", way);
    Check((record.flags[0] | record.flags[1] | record.flags[2] | record.flags[3] | record.flags[4]) == 0,
          "slot 12 GetStatus: the five flags (%s)", way);
    Check(!driver.IsBufferWrapped(), "slot 2 IsBufferWrapped (%s)", way);
    Check(Equal(driver.GetCpuName(), kCpu), "slot 11 GetCpuName (%s)", way);
    std::string text = "before";
    std::string& given = driver.GetExtendedInfo(text);
    Check(&given == &text && Equal(text.c_str(), "Not implemented"), "slot 13 GetExtendedInfo (%s)", way);
    const LogWatch log;
    driver.JobStateChanged(1);
    Check(!log.Holds("eJOB_MODIFIED_DISABLE_RESUME"), "slot 14 JobStateChanged: 1, nothing (%s)", way);
    driver.JobStateChanged(0);
    Check(log.Holds("state changed to eJOB_MODIFIED_DISABLE_RESUME"), "slot 14 JobStateChanged: 0 (%s)", way);
    driver.SetTargetState(3);
    StatusRecord untouched{99, "untouched", {9, 9, 9, 9, 9}};
    driver.GetStatus(untouched);
    Check(untouched.code == 99 && Equal(untouched.text.c_str(), "untouched") && untouched.flags[4] == 9,
          "slot 15 SetTargetState: without a connection GetStatus leaves the record (%s)", way);
    driver.SetTargetState(7);
    driver.SetHaltState(kCpu, 0);
    driver.SetHaltState(kCpu, 0xA5);
    Check(log.Holds("modified halt state for board/Cortex_M4_0 to 165"), "slot 16 SetHaltState (%s)", way);
    driver.UnregisterCpu("another");
    Check(!log.Holds("CPU unregistered."), "slot 17 UnregisterCpu of another (%s)", way);
    driver.UnregisterCpu(kCpu);
    Check(log.Holds("CPU unregistered."), "slot 17 UnregisterCpu (%s)", way);
}

void CheckAttributes(const DriverCalls& driver) {
    const char* const way = driver.Way();
    Check(Attribute(driver, "Timing Clock Frequency", 6, "4.8e+07"),
          "slot 1 GetAttribute: a real number (%s)", way);
    Check(Attribute(driver, "Trace Data Frequency", 6, "38400"), "slot 1 GetAttribute: another (%s)", way);
    Check(Attribute(driver, "ITM Timestamp Prescale", 2, "16"), "slot 1 GetAttribute: an integer (%s)", way);
    Check(Attribute(driver, "ITM Exception Map Name", 5, "MOD_EXCEPTIONMAP"),
          "slot 1 GetAttribute: a text (%s)", way);
    Check(Attribute(driver, "no such attribute", 1, "0"), "slot 1 GetAttribute: unknown (%s)", way);
    HostScript()->word = 0x89ABCDEF;
    Check(Attribute(driver, "WP2 Comp", 2, "2309737967") && HostScript()->address == 0xE0001050 - 0x10,
          "slot 1 GetAttribute: a word, through slot 0 of the memory accessor (%s)", way);
    HostScript()->word = 1;
}

}  // namespace

void CheckDriver(const Plugin& plugin, bool raw) {
    Group(raw ? "channel driver, by slot" : "channel driver, by name");
    ResetScript();
    const Session session(plugin, raw);
    const DriverCalls& driver = session.driver;
    CheckFreshDriver(driver);
    driver.SetConfiguration(WriteOptions("48000000", "1249", Variable("TARNEL_PROBE_PORT")));
    Check(driver.Code() == 16, "slot 3 SetConfiguration (%s)", driver.Way());
    CheckAttributes(driver);
    driver.StartRecording();
    Check(driver.Code() == 6, "slot 4 StartRecording (%s)", driver.Way());
    Check(driver.GetNumSamples() == 0, "slot 10 GetNumSamples of an empty capture (%s)", driver.Way());
    uint32_t read = 9;
    char sample[8];
    Check(driver.SeekReadTraceData(0, 1, sample, read) == 0 && read == 0,
          "slot 9 SeekReadTraceData of an empty capture (%s)", driver.Way());
    driver.StopRecording();
    StatusRecord record;
    driver.GetStatus(record);
    Check(record.code == 11 && Equal(record.text.c_str(), "Stopped by user"), "slot 5 StopRecording (%s)",
          driver.Way());
    Check(record.flags[0] == 1 && record.flags[1] == 1 && record.flags[2] == 0 && record.flags[3] == 0 &&
              record.flags[4] == 1,
          "slot 12 GetStatus: the flags of a stopped recording (%s)", driver.Way());
}

void CheckAdapter(const Plugin& plugin, bool raw) {
    Group(HostScript()->rawTables ? "target adapter, table by hand" : "target adapter, interface's class");
    ResetScript();
    {
        const Session session(plugin, raw);
        const DriverCalls& driver = session.driver;
        const AdapterJournal& journal = Journal();
        driver.SetConfiguration(WriteOptions("48000000", "1249", Variable("TARNEL_PROBE_PORT")));
        Journal().exportStatus = 0xF00D0001;
        driver.StartRecording();
        Check(journal.EndsWith("346758912"), "a start calls slots 3, 4, 6, 7, then 5, 8, 9, 1, 2");
        Check(journal.LastArgument(7) == 0xF00D0001,
              "slot 7 ClearExportStatus gets what slot 6 GetExportStatus wrote");
        Check(journal.LastArgument(5) == 1249, "slot 5 SetTpiuPrescaler gets the prescaler");
        Check(journal.LastArgument(8) == 2, "slot 8 SetTpiuPinProtocol gets 2");
        Check(journal.LastArgument(9) == 16, "slot 9 SetTimestampPrescale gets the prescale");
        Journal().exportStatus = 0;
        driver.StopRecording();
        Check(journal.EndsWith("43"), "a stop calls slots 4, 3");
        session.receiver.Release(session.driver.driver);
        Check(journal.EndsWith("640"), "a release calls slots 6, 4, 0");
        bool everyId = true;
        for (int i = 0; i < journal.count; ++i) everyId = everyId && journal.calls[i].cpuId == kCpuId;
        Check(everyId, "every call has the CPU's id");
    }
    const int refusing[] = {5, 8, 9, 1, 2};
    for (const int slot : refusing) {
        const Session session(plugin, raw);
        session.driver.SetConfiguration(WriteOptions("48000000", "1249", Variable("TARNEL_PROBE_PORT")));
        Journal().failingSlot = slot;
        bool refused = false;
        try {
            session.driver.StartRecording();
        } catch (const cPelkitError&) {
            refused = true;
        }
        Check(refused && session.driver.Code() == 16, "slot %d: its result counts", slot);
    }
}

void CheckCasts(const Plugin& plugin) {
    Group("run-time casts");
    ResetScript();
    const Session session(plugin, false);
    CChannelDriver* const driver = session.driver.driver;
    auto* const progress = dynamic_cast<CChannelDriverProgress*>(driver);
    Check(progress != nullptr, "CChannelDriver to CChannelDriverProgress");
    uint32_t current = 0;
    uint32_t total = 0;
    Slot<void>(progress, 0, &current, &total);
    Check(current == 1 && total == 100, "slot 0 GetProgress by slot");
    current = total = 0;
    progress->GetProgress(current, total);
    Check(current == 1 && total == 100, "slot 0 GetProgress by name");
    TraceChannelAttributes* const attributes = driver;
    Check(dynamic_cast<CChannelDriver*>(attributes) == driver,
          "TraceChannelAttributes back to CChannelDriver");
    Check(dynamic_cast<CChannelDriverProgress*>(attributes) == progress,
          "TraceChannelAttributes to CChannelDriverProgress");
    Check(dynamic_cast<void*>(driver) == driver, "CChannelDriver to the whole object");
    CTargetStateNotification* const notification = session.receiver.receiver;
    Check(dynamic_cast<CReceiver*>(notification) == session.receiver.receiver,
          "CTargetStateNotification to CReceiver");
    Check(dynamic_cast<CChannelDriver*>(notification) == nullptr,
          "CTargetStateNotification is no CChannelDriver");
    Check(dynamic_cast<CTargetStateNotification*>(driver) == nullptr,
          "CChannelDriver is no CTargetStateNotification");
}

}  // namespace host
