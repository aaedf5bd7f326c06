#include "channel/ChannelDriver.h"

#include <algorithm>
#include <new>

#include "channel/capture_name.h"
#include "channel/channel_log.h"
#include "host_api/target_states.h"
#include "source_utilities/environment.h"
#include "source_utilities/visible_text.h"

using KORR_PLIM::kLogChatty;
using KORR_PLIM::kLogOrdinary;
using KORR_PLIM::LogError;
using KORR_PLIM::LogMessage;
using KORR_PLIM::uMutex;
using KORR_PLIM::uMutexLock;
using KORR_PLIM::Visible;

namespace Korr::Plim::Trace::Tarnel {
namespace {

std::unique_ptr<uMutex> MakeMutex() {
    try {
        return std::make_unique<uMutex>();
    } catch (const std::bad_alloc&) {
        LogAndThrow("Internal error creating ChannelDriver. Failed to create mutex object");
    }
}

template <typename States>
auto FindHaltState(States& states, const std::string& name) {
    return std::find_if(states.begin(), states.end(),
                        [&name](const auto& entry) { return entry.first == name; });
}

}  // namespace

ChannelDriver::ChannelDriver(CReceiver* theReceiver, const char* theCpuName, TargetAdapter* adapter,
                             uint32_t theCpuId, uint32_t theChannelIndex)
    : receiver(theReceiver), targetAdapter(adapter), channelIndex(theChannelIndex), cpuId(theCpuId) {
    if (receiver == nullptr || theCpuName == nullptr || targetAdapter == nullptr) {
        LogAndThrow("Internal error creating Channel Driver. Null parameters.");
    }
    cpuName = theCpuName;
    logDir = KORR_PLIM::GetEnvironment("KORR_TRACE_LOGGING_DIR");
    cpuShortName = ShortCpuName(cpuName);
    captureFileName = CaptureFileName(logDir, cpuShortName);
    if (captureFileName.empty()) {
        LogError("%s: CPU name leads out of the data folder, so that nothing can be captured: %s",
                 kChannelDriverTag, Visible(theCpuName).Text());
    }
    ResetItmChannelTypes();
    mutex = MakeMutex();
}

ChannelDriver::~ChannelDriver() {
    RunLogged(kChannelDriverTag, [this] { ChannelDriver::StopRecording(); });
    RunLogged(kChannelDriverTag, [this] { CheckExportStatus(); });
    RunLogged(kChannelDriverTag, [this] { targetAdapter->TraceExportOpB(cpuId); });
    RunLogged(kChannelDriverTag, [this] {
        const uMutexLock hold(*mutex);
        StopCapture();
    });
    RunLogged(kChannelDriverTag, [this] { targetAdapter->TraceRelease(cpuId); });
    // Holds that refused stops left behind: a mutex must not be held when it goes.
    while (mutex->Unlock()) {
    }
    mutex.reset();
}

void ChannelDriver::SetHostAccess(DeviceIdentifier* identifier, MemoryAccessor* memory, uint32_t kind) {
    deviceIdentifier = identifier;
    memoryAccess = memory;
    probeKind = kind;
}

bool ChannelDriver::IsBufferWrapped() { return false; }

void ChannelDriver::ResumeRecording() { ThrowError("ResumeRecording not supported"); }

void ChannelDriver::LoadFile(const char* /*fileName*/) { ThrowError("LoadFile not supported"); }

const char* ChannelDriver::GetCpuName() { return cpuName.c_str(); }

void ChannelDriver::GetStatus(StatusRecord& record) {
    if (IsTargetDisconnected(targetState)) return;
    record.code = 0;
    std::fill(std::begin(record.flags), std::end(record.flags), uint8_t{0});
    const uMutexLock hold(*mutex);
    DescribeState(state, record);
}

HostString& ChannelDriver::GetExtendedInfo(HostString& result) {
    result = "Not implemented";
    return result;
}

void ChannelDriver::GetProgress(uint32_t& current, uint32_t& total) {
    current = 1;
    total = 100;
}

void ChannelDriver::JobStateChanged(uint32_t jobState) {
    if (jobState != 0) return;
    StatusRecord record;
    GetStatus(record);
    LogMessage(kLogOrdinary, "%s: state changed to eJOB_MODIFIED_DISABLE_RESUME", kChannelDriverTag);
}

void ChannelDriver::SetTargetState(uint32_t newState) { targetState = newState; }

void ChannelDriver::SetHaltState(const char* name, uint8_t haltState) {
    if (name == nullptr) return;
    const auto found = FindHaltState(haltStates, name);
    if (found == haltStates.end()) {
        haltStates.emplace_back(name, haltState);
        return;
    }
    found->second = haltState;
    LogMessage(kLogChatty, "%s: modified halt state for %s to %d", kChannelDriverTag, Visible(name).Text(),
               haltState);
}

void ChannelDriver::UnregisterCpu(const char* name) {
    if (name == nullptr) return;
    const auto found = FindHaltState(haltStates, name);
    if (found == haltStates.end()) return;
    haltStates.erase(found);
    LogMessage(kLogChatty, "%s: CPU unregistered.", kChannelDriverTag);
}

}  // namespace Korr::Plim::Trace::Tarnel
