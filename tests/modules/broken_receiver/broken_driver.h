#pragma once

#include <memory>
#include <string>

#include "host_api/CChannelDriver.h"
#include "host_api/CChannelDriverProgress.h"
#include "tests/modules/broken_receiver/broken_adapter.h"

/// Hands every call on to a channel driver of the real plug-in, but for its faults.
class BrokenDriver final : public Korr::Plim::Trace::CChannelDriver,
                           public Korr::Plim::Trace::CChannelDriverProgress {
  public:
    /// \param own the adapter that the real driver was given
    BrokenDriver(CChannelDriver* driver, std::unique_ptr<BrokenAdapter> own)
        : real(driver), adapter(std::move(own)) {}

    CChannelDriver* const real;

    void GetAttribute(const char* name, Korr::Plim::Trace::TraceAttribute& answer) override;
    bool IsBufferWrapped() override;
    void SetConfiguration(const char* optionsFileName) override;
    void StartRecording(uint8_t flag) override;
    void StopRecording() override;
    void ResumeRecording() override;
    void SaveFile(const char* fileName, int32_t format) override;
    void LoadFile(const char* fileName) override;
    uint32_t SeekReadTraceData(uint32_t start, uint32_t requested, void* buffer,
                               uint32_t& samplesRead) override;
    uint32_t GetNumSamples() override;
    const char* GetCpuName() override;
    void GetStatus(Korr::Plim::Trace::StatusRecord& record) override;
    Korr::Plim::Trace::HostString& GetExtendedInfo(Korr::Plim::Trace::HostString& result) override;
    void JobStateChanged(uint32_t state) override;
    void SetTargetState(uint32_t state) override;
    void SetHaltState(const char* cpuName, uint8_t state) override;
    void UnregisterCpu(const char* cpuName) override;

    void GetProgress(uint32_t& current, uint32_t& total) override;

    uint32_t Code() const;
    BrokenAdapter& Adapter() { return *adapter; }

    /// The driver that was made first of those that live.
    BrokenDriver* first = nullptr;

  private:
    std::unique_ptr<BrokenAdapter> adapter;
    uint32_t targetState = 0;
    uint32_t starts = 0;
    bool configured = false;
    std::string firstPrescale;
};
