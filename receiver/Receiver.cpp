#include "receiver/Receiver.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "receiver/device_support.h"
#include "receiver/host_library.h"
#include "source_utilities/log_call.h"
#include "source_utilities/visible_text.h"

namespace Korr::Plim::Trace::Tarnel {

using KORR_PLIM::kLogChatty;
using KORR_PLIM::kLogOrdinary;
using KORR_PLIM::LogError;
using KORR_PLIM::LogMessage;
using KORR_PLIM::Visible;

Receiver::Receiver() = default;

Receiver::~Receiver() {
    try {
        Close();
    } catch (...) {
        LogError("%s: exception using %s", kReceiverTag, "DeviceIdentifier");
    }
}

void Receiver::Close() {
    while (!channelDrivers.empty()) DestroyDriver(0);
    deviceIdentifier.Release();
}

uint32_t Receiver::GetNumCpus() {
    const auto count = static_cast<uint32_t>(channelDrivers.size());
    LogMessage(kLogChatty, "%s: number of attached cpus is %d", kReceiverTag, static_cast<int>(count));
    return count;
}

void Receiver::GetCpuNames(char** buffers) {
    if (buffers == nullptr) return;
    for (std::size_t i = 0; i < channelDrivers.size(); ++i) {
        const char* const name = channelDrivers[i]->GetCpuName();
        if (buffers[i] != nullptr) std::strcpy(buffers[i], name);
        LogMessage(kLogOrdinary, "%s: cpuName[%d] is %s", kReceiverTag, static_cast<int>(i),
                   Visible(name).Text());
    }
}

CChannelDriver* Receiver::AllocateChannelDriver(const char* cpuName, TargetAdapter* targetAdapter,
                                                uint32_t cpuId, uint32_t channelIndex) {
    probeKind = kUnsupportedProbe;
    currentCpuName = cpuName != nullptr ? cpuName : "";
    CheckProbeAndDevice();
    MemoryAccessor* const memory = GetMemoryAccessor();
    std::unique_ptr<ChannelDriver> driver(
        new (std::nothrow) ChannelDriver(this, cpuName, targetAdapter, cpuId, channelIndex));
    if (!driver) {
        LogError("%s: Failed to allocate SWO Channel driver", kReceiverTag);
        ThrowError("Failed to allocated SWO channel driver");
    }
    channelDrivers.push_back(std::move(driver));
    channelDrivers.back()->SetHostAccess(deviceIdentifier.Get(), memory, probeKind);
    return channelDrivers.back().get();
}

void Receiver::CheckProbeAndDevice() {
    probeKind = setupAdapters.CheckProbe(currentCpuName);
    if (probeKind == kUnsupportedProbe) ThrowError("SWO trace is not supported by this emulator.");
    if (!CheckDeviceSupport(deviceIdentifier.Get(), setupAdapters, currentCpuName)) {
        ThrowError("SWO trace is not supported by this device.");
    }
}

MemoryAccessor* Receiver::GetMemoryAccessor() {
    MemoryAccessor* const memory = targetAdapters.GetTargetAdapter(currentCpuName.c_str());
    if (memory == nullptr) {
        ThrowError("Internal error: Cannot get target adapter handle. Bad installation or setup.");
    }
    return memory;
}

void Receiver::ReleaseChannelDriver(CChannelDriver* driver) {
    if (driver == nullptr) return;
    const auto found = std::find_if(channelDrivers.begin(), channelDrivers.end(),
                                    [driver](const auto& own) { return own.get() == driver; });
    if (found == channelDrivers.end()) ThrowError("Failed to release unknown SWO channel driver");
    DestroyDriver(static_cast<std::size_t>(found - channelDrivers.begin()));
}

/// Takes the driver out of the list before it dies, so that nobody finds it half destroyed.
void Receiver::DestroyDriver(std::size_t index) {
    const std::unique_ptr<ChannelDriver> driver = std::move(channelDrivers[index]);
    channelDrivers.erase(channelDrivers.begin() + static_cast<std::ptrdiff_t>(index));
}

uint32_t Receiver::ConstantQueryA() { return 1; }

void* Receiver::GetDataSource(void* /*request*/) { ThrowError("Cannot get data source"); }

CChannelDriver* Receiver::GetChannelDriver(const char* cpuName) {
    if (cpuName == nullptr) return nullptr;
    for (const auto& driver : channelDrivers) {
        if (std::strcmp(driver->GetCpuName(), cpuName) != 0) continue;
        LogMessage(kLogOrdinary, "%s: Get channel driver for CPU %s.", kReceiverTag, Visible(cpuName).Text());
        return driver.get();
    }
    return nullptr;
}

uint32_t Receiver::GetNextAvailableChannel() {
    const auto channel = static_cast<uint32_t>(channelDrivers.size() + 1);
    LogMessage(kLogChatty, "%s: next available channel is %d", kReceiverTag, static_cast<int>(channel));
    return channel;
}

uint32_t Receiver::ConstantQueryB(uint32_t /*argument*/) { return 0; }

void Receiver::ProgressNotice() {}

uint32_t Receiver::ConstantQueryC() { return 0; }

}  // namespace Korr::Plim::Trace::Tarnel
