#include "channel/ChannelDriver.h"
#include "channel/channel_log.h"
#include "host_api/target_states.h"
#include "source_utilities/on_failure.h"

using KORR_PLIM::kLogOrdinary;
using KORR_PLIM::LogError;
using KORR_PLIM::LogMessage;
using KORR_PLIM::uMutexLock;

namespace Korr::Plim::Trace::Tarnel {
namespace {

void LogRefusal(const char* why) { LogMessage(kLogOrdinary, "%s: %s", kChannelDriverTag, why); }

// Fails when a step of the TPIU programming gave another result than 0.
void Require(uint32_t result, const char* logged, const char* thrown) {
    if (result == 0) return;
    LogError("%s: %s", kChannelDriverTag, logged);
    ThrowError(thrown);
}

}  // namespace

void ChannelDriver::StartRecording(uint8_t /*flag*/) {
    if (IsTargetDisconnected(targetState)) {
        return LogRefusal("Cannot start recording unless target is connected");
    }
    const uMutexLock hold(*mutex);
    if (state == kRecording) {
        return LogRefusal("Cannot start recording since recording is already in progress");
    }
    if (state == kCreated || state == kCalibrating) {
        return LogRefusal("Cannot start recording unless caltibration is complete");
    }
    KORR_PLIM::OnFailure stopCapture([this] { StopCapture(); });
    targetAdapter->TraceExportOpA(cpuId);
    targetAdapter->TraceExportOpB(cpuId);
    CheckExportStatus();
    PrepareCapture();
    ProgramTpiu();
    stopCapture.Dismiss();
    state = kRecording;
}

void ChannelDriver::ProgramTpiu() {
    Require(targetAdapter->SetTpiuPrescaler(cpuId, prescaler), "Failed to setup TPIU prescalar",
            "Invalid Prescalar Value");
    Require(targetAdapter->SetTpiuPinProtocol(cpuId, pinProtocol), "Failed to setup TPIU pin protocol",
            "Invalid Pin Protocol");
    Require(targetAdapter->SetTimestampPrescale(cpuId, timestampPrescale),
            "Failed to setup timestamping resolution", "Failed to configure timestamping resolution");
    Require(targetAdapter->ProgramTpiu(cpuId), "Failed to program TPIU", "Failed to program TPIU");
    Require(targetAdapter->EnableTpiu(cpuId), "Failed to enable TPIU for tracing",
            "Failed to Enable TPIU for SWO trace");
}

void ChannelDriver::StopRecording() {
    if (IsTargetDisconnected(targetState)) {
        return LogRefusal("Cannot stop recording unless target is connected");
    }
    const uMutexLock hold(*mutex);
    if (state != kRecording) return LogRefusal("Cannot stop recording as recording has not started yet");
    if (targetState == kTargetRunning) {
        mutex->Lock();  // once more than this scope gives back: the caller keeps the mutex
        LogError("%s: Trace cannot be stopped while target is running.", kChannelDriverTag);
        ThrowError("Trace cannot be stopped while target is running. Please halt the target.");
    }
    targetAdapter->TraceExportOpB(cpuId);
    StopCapture();
    targetAdapter->TraceExportOpA(cpuId);
    state = kStoppedByUser;
    ResetItmChannelTypes();
}

void ChannelDriver::CheckExportStatus() {
    const uMutexLock hold(*mutex);
    uint32_t status = 0;
    targetAdapter->GetExportStatus(cpuId, status);
    if (status == 0) return;
    LogMessage(kLogOrdinary, "%s: Trace export (xmtr) status 0x%x.", kChannelDriverTag, status);
    targetAdapter->ClearExportStatus(cpuId, status);
}

}  // namespace Korr::Plim::Trace::Tarnel
