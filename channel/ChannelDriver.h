#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host_api/CChannelDriver.h"
#include "host_api/CChannelDriverProgress.h"
#include "host_api/CReceiver.h"
#include "host_api/DeviceIdentifier.h"
#include "host_api/MemoryAccessor.h"
#include "host_api/TargetAdapter.h"
#include "options/ChannelOptions.h"
#include "source_utilities/uMutex.h"
#include "source_utilities/uThread.h"
#include "uart/UARTDataCollector.h"

namespace Korr::Plim::Trace::Tarnel {

/// One traced CPU: its SWO settings, its capture and the state that the host reads back.
class ChannelDriver : public CChannelDriver, public CChannelDriverProgress {
  public:
    /// \param receiver back-reference, not owned, not null
    /// \param cpuName copied, not null
    /// \param targetAdapter not owned, not null
    /// \throws cPelkitError for a null argument
    ChannelDriver(CReceiver* receiver, const char* cpuName, TargetAdapter* targetAdapter, uint32_t cpuId,
                  uint32_t channelIndex);
    ~ChannelDriver() override;
    ChannelDriver(const ChannelDriver&) = delete;
    ChannelDriver& operator=(const ChannelDriver&) = delete;

    /// What the receiver knows and the driver uses: neither object is owned, memoryAccess may be null.
    void SetHostAccess(DeviceIdentifier* identifier, MemoryAccessor* memory, uint32_t kind);

    // CChannelDriver: see host_api.
    void GetAttribute(const char* name, TraceAttribute& answer) override;
    bool IsBufferWrapped() override;
    void SetConfiguration(const char* optionsFileName) override;
    void StartRecording(uint8_t flag) override;
    void StopRecording() override;
    void ResumeRecording() override;
    void SaveFile(const char* fileName, int32_t format) override;
    void LoadFile(const char* fileName) override;
    uint32_t SeekReadTraceData(uint32_t startSample, uint32_t requested, void* buffer,
                               uint32_t& samplesRead) override;
    uint32_t GetNumSamples() override;
    const char* GetCpuName() override;
    void GetStatus(StatusRecord& record) override;
    std::string& GetExtendedInfo(std::string& result) override;
    void JobStateChanged(uint32_t jobState) override;
    void SetTargetState(uint32_t state) override;
    void SetHaltState(const char* name, uint8_t haltState) override;
    void UnregisterCpu(const char* name) override;

    // CChannelDriverProgress: see host_api.
    void GetProgress(uint32_t& current, uint32_t& total) override;

  private:
    CReceiver* receiver;
    TargetAdapter* targetAdapter;
    uint32_t channelIndex;
    std::string cpuName;
    uint32_t cpuId;
    std::unique_ptr<KORR_PLIM::uMutex> mutex;
    std::unique_ptr<KORR_PLIM::uThread> thread;
    std::unique_ptr<UARTDataCollector> collector;
    uint32_t targetState = 0;
    uint32_t state = 0;
    OptionList options;
    uint32_t pinProtocol = 2;
    double traceClockHz = 0.0;
    uint32_t prescaler = 0;
    uint32_t comPort = 0;
    uint32_t timestampPrescale = 1;
    bool prescalerAuto = false;
    bool clockAuto = false;
    std::string cpuShortName;
    std::string captureFileName;
    std::string logDir;
    std::vector<std::pair<std::string, uint8_t>> haltStates;
    std::string attrText;
    DeviceIdentifier* deviceIdentifier = nullptr;
    MemoryAccessor* memoryAccess = nullptr;
    bool captureRunning = false;
    uint32_t probeKind = 2;
    uint32_t firmwareVersion = 0;
    std::string exceptionMapName;
    std::array<int32_t, 32> itmChannelType{};
    bool itmChannelTypesLoaded = false;
};

}  // namespace Korr::Plim::Trace::Tarnel
