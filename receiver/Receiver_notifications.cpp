#include "channel/channel_log.h"
#include "host_api/target_states.h"
#include "receiver/Receiver.h"
#include "receiver/host_library.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

constexpr uint32_t kJobStateEvent = 0;
constexpr uint8_t kRunning = 0;
constexpr uint8_t kHalted = 1;

}  // namespace

void Receiver::TargetStateChanged(const char* cpuName, uint32_t state) {
    RunLogged(kReceiverTag, [&] { RouteTargetState(cpuName, state); });
}

void Receiver::RouteTargetState(const char* cpuName, uint32_t state) {
    CChannelDriver* const driver = GetChannelDriver(cpuName);
    if (driver == nullptr) return;
    driver->SetTargetState(state);
    // Without a target connection (3, 4) the driver leaves the record as it is, so it never counts as
    // recording.
    StatusRecord status;
    driver->GetStatus(status);
    const bool recording = status.code == kStatusRecording;
    if (IsTargetDisconnected(state)) {
        driver->UnregisterCpu(cpuName);
        if (recording) driver->StopRecording();
    } else if (IsTargetStarted(state)) {
        driver->SetHaltState(cpuName, kRunning);
        if (!recording) driver->StartRecording(0);
    } else if (IsTargetHalted(state)) {
        driver->SetHaltState(cpuName, kHalted);
        if (recording) driver->StopRecording();
    }
}

void Receiver::TargetEvent(const char* cpuName, uint32_t event) {
    if (event != kJobStateEvent) return;
    try {
        auto* const driver = dynamic_cast<ChannelDriver*>(GetChannelDriver(cpuName));
        if (driver != nullptr) driver->JobStateChanged(0);
    } catch (...) {  // dropped: a notification lets nothing out
    }
}

void Receiver::TargetNotice(const char* /*cpuName*/, uint32_t /*notice*/, uint32_t /*value*/) {}

}  // namespace Korr::Plim::Trace::Tarnel
