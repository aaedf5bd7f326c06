#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "channel/channel_status.h"
#include "channel/itm_setup.h"
#include "host_api/CChannelDriver.h"
#include "host_api/CChannelDriverProgress.h"
#include "host_api/CReceiver.h"
#include "host_api/DeviceIdentifier.h"
#include "host_api/MemoryAccessor.h"
#include "host_api/ProbeKind.h"
#include "host_api/TargetAdapter.h"
#include "options/ChannelOptions.h"
#include "options/option_ids.h"
#include "source_utilities/uMutex.h"
#include "source_utilities/uThread.h"
#include "uart/UARTDataCollector.h"

namespace Korr::Plim::Trace::Tarnel {

/// One traced CPU: its SWO settings, its capture and the state that the host reads back.
///
/// GetStatus, SetConfiguration, StartRecording, StopRecording and the export-status check hold the driver's
/// mutex for their whole run; nothing else takes it, and the capture thread never does. What the operations
/// without a lock read or write is atomic. The halt states, the text of the last attribute and the host
/// access belong to the host thread.
///
/// StopRecording refused because the target runs leaves the mutex held by the calling thread, once more with
/// each such call. That thread can go on and must be the one that destroys the driver; every other thread
/// waits.
class ChannelDriver : public CChannelDriver, public CChannelDriverProgress {
  public:
    /// \param receiver back-reference, not owned, not null
    /// \param cpuName copied, not null
    /// \param targetAdapter not owned, not null
    /// \throws cPelkitError for a null argument, and when the mutex cannot be made
    ChannelDriver(CReceiver* receiver, const char* cpuName, TargetAdapter* targetAdapter, uint32_t cpuId,
                  uint32_t channelIndex);
    /// Stops what runs, gives the trace resources back. Errors on the way are logged; the next step is taken
    /// all the same.
    ~ChannelDriver() override;
    ChannelDriver(const ChannelDriver&) = delete;
    ChannelDriver& operator=(const ChannelDriver&) = delete;

    /// What the receiver knows and the driver uses. [host thread, created]
    /// \param identifier not owned; null: no device is recognised
    /// \param memory not owned; null: every word of the target reads as 0
    /// \param kind a ProbeKind
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
    HostString& GetExtendedInfo(HostString& result) override;
    void JobStateChanged(uint32_t jobState) override;
    void SetTargetState(uint32_t state) override;
    void SetHaltState(const char* name, uint8_t haltState) override;
    void UnregisterCpu(const char* name) override;

    // CChannelDriverProgress: see host_api.
    void GetProgress(uint32_t& current, uint32_t& total) override;

  private:
    std::string OptionValue(uint32_t id) const;
    void ApplyOptions();
    void ApplyFirmwareVersion();
    void ApplyPrescaler();
    void ApplyClock();
    void ApplyComPort();
    void ApplyTimestampPrescale();

    bool DeviceMatches(uint32_t identification, uint32_t mask) const;
    double DetectClock() const;
    void ResolveTraceClock();
    void ChooseExceptionMap();
    void PrepareCapture();
    void MakeCollector();
    void StartThread();
    void StopCapture();

    void ProgramTpiu();
    void CheckExportStatus();

    uint32_t CountSamples();
    uint32_t ReadCapture(uint32_t startSample, uint32_t requested, void* buffer);

    bool AnswerFrequency(const char* name, TraceAttribute& answer);
    bool AnswerTimestampPrescale(const char* name, TraceAttribute& answer);
    bool AnswerComparator(const char* name, TraceAttribute& answer);
    bool AnswerChannelType(const char* name, TraceAttribute& answer);
    void LoadItmChannelTypes();
    void ResetItmChannelTypes();

    CReceiver* receiver = nullptr;  ///< kept, not used
    TargetAdapter* targetAdapter = nullptr;
    uint32_t channelIndex = 0;  ///< kept, not used
    std::string cpuName;
    uint32_t cpuId = 0;
    std::unique_ptr<KORR_PLIM::uMutex> mutex;
    std::unique_ptr<KORR_PLIM::uThread> thread;
    std::unique_ptr<UARTDataCollector> collector;
    std::atomic<uint32_t> targetState{0};
    uint32_t state = kCreated;  ///< guarded by the mutex
    OptionList options;
    uint32_t pinProtocol = 2;
    std::atomic<double> traceClockHz{0.0};
    std::atomic<uint32_t> prescaler{0};
    uint32_t comPort = 0;
    std::atomic<uint32_t> timestampPrescale{1};
    bool prescalerAuto = false;
    bool clockAuto = false;
    std::string cpuShortName;
    std::string captureFileName;
    std::string logDir;  ///< of the construction; kept, not used afterwards
    std::vector<std::pair<std::string, uint8_t>> haltStates;
    std::string attrText;
    DeviceIdentifier* deviceIdentifier = nullptr;
    MemoryAccessor* memoryAccess = nullptr;
    bool captureRunning = false;
    uint32_t probeKind = kUnsupportedProbe;
    uint32_t firmwareVersion = 0;
    std::atomic<const char*> exceptionMapName{kDefaultExceptionMap};
    std::array<std::atomic<int32_t>, kItmChannels> itmChannelType;
    std::atomic<bool> itmChannelTypesLoaded{false};
};

}  // namespace Korr::Plim::Trace::Tarnel
