#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "channel/ChannelDriver.h"
#include "host_api/CReceiver.h"
#include "receiver/device_identifier_access.h"
#include "receiver/setup_adapter_access.h"
#include "receiver/target_adapter_access.h"

namespace Korr::Plim::Trace::Tarnel {

/// The object that the host holds for this plug-in: makes and owns the channel drivers, owns the host's
/// libraries while it lives, and routes target states to the drivers. All operations run on the host's
/// thread; there is no lock.
class Receiver : public CReceiver {
  public:
    /// Loads the device identifier. \throws cPelkitError
    Receiver();
    /// Close, and unloads the host's libraries. Exceptions of Close are dropped; who wants them closes first.
    ~Receiver() override;
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    /// Destroys all drivers in list order, then gives the device identifier back. Lets out what the host's
    /// library throws. Afterwards no driver can be allocated (the device counts as unsupported).
    void Close();

    // CTargetStateNotification: see host_api. Exceptions of the driver are logged and dropped.
    void TargetStateChanged(const char* cpuName, uint32_t state) override;
    void TargetEvent(const char* cpuName, uint32_t event) override;
    void TargetNotice(const char* cpuName, uint32_t notice, uint32_t value) override;

    // CReceiver: see host_api.
    uint32_t GetNumCpus() override;
    /// A null buffer among the buffers is left out.
    void GetCpuNames(char** buffers) override;
    CChannelDriver* AllocateChannelDriver(const char* cpuName, TargetAdapter* targetAdapter, uint32_t cpuId,
                                          uint32_t channelIndex) override;
    void ReleaseChannelDriver(CChannelDriver* driver) override;
    uint32_t ConstantQueryA() override;
    void* GetDataSource(void* request) override;
    /// A null name finds nothing.
    CChannelDriver* GetChannelDriver(const char* cpuName) override;
    uint32_t GetNextAvailableChannel() override;
    uint32_t ConstantQueryB(uint32_t argument) override;
    void ProgressNotice() override;
    uint32_t ConstantQueryC() override;

  private:
    void CheckProbeAndDevice();
    MemoryAccessor* GetMemoryAccessor();
    void RouteTargetState(const char* cpuName, uint32_t state);
    void DestroyDriver(std::size_t index);

    uint32_t probeKind = 0;
    std::string currentCpuName;  ///< of the latest allocation request
    // The libraries are unloaded in reverse order of these members, the device identifier's first.
    SetupAdapterAccess setupAdapters;
    TargetAdapterAccess targetAdapters;
    DeviceIdentifierAccess deviceIdentifier;
    std::vector<std::unique_ptr<ChannelDriver>> channelDrivers;  ///< in allocation order
};

}  // namespace Korr::Plim::Trace::Tarnel
