#include <exception>

#include "host_api/cPelkitError.h"
#include "receiver/Receiver.h"
#include "receiver/host_library.h"
#include "source_utilities/log_call.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

constexpr uint32_t kStatusRecording = 6;
constexpr uint32_t kJobStateEvent = 0;
constexpr uint8_t kRunning = 0;
constexpr uint8_t kHalted = 1;

}  // namespace

void Receiver::TargetStateChanged(const char* cpuName, uint32_t state) {
    try {
        RouteTargetState(cpuName, state);
    } catch (const cPelkitError& error) {
        KORR_PLIM::LogError("%s: %s", kReceiverTag, error.GetText());
    } catch (const std::exception& error) {
        KORR_PLIM::LogError("%s: %s", kReceiverTag, error.what());
    } catch (...) {
        KORR_PLIM::LogError("%s: %s", kReceiverTag, "Unknown exception");
    }
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
    switch (state) {
        case 3:
        case 4:
            driver->UnregisterCpu(cpuName);
            if (recording) driver->StopRecording();
            break;
        case 5:
        case 6:
            driver->SetHaltState(cpuName, kRunning);
            if (!recording) driver->StartRecording(0);
            break;
        case 7:
        case 8:
            driver->SetHaltState(cpuName, kHalted);
            if (recording) driver->StopRecording();
            break;
        default:
            break;
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
