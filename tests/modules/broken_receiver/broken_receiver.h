#pragma once

#include <memory>
#include <vector>

#include "host_api/CReceiver.h"
#include "tests/modules/broken_receiver/broken_driver.h"

/// Hands every call on to the receiver of the real plug-in, but for its faults.
class BrokenReceiver final : public Korr::Plim::Trace::CReceiver {
  public:
    /// \param number 1 for the first receiver of the process
    BrokenReceiver(CReceiver* receiver, uint32_t number) : real(receiver), life(number) {}

    CReceiver* const real;

    void TargetStateChanged(const char* cpuName, uint32_t state) override;
    void TargetEvent(const char* cpuName, uint32_t event) override;
    void TargetNotice(const char* cpuName, uint32_t notice, uint32_t value) override;
    uint32_t GetNumCpus() override;
    void GetCpuNames(char** buffers) override;
    Korr::Plim::Trace::CChannelDriver* AllocateChannelDriver(const char* cpuName,
                                                             Korr::Plim::Trace::TargetAdapter* targetAdapter,
                                                             uint32_t cpuId, uint32_t channelIndex) override;
    void ReleaseChannelDriver(Korr::Plim::Trace::CChannelDriver* driver) override;
    uint32_t ConstantQueryA() override;
    void* GetDataSource(void* request) override;
    Korr::Plim::Trace::CChannelDriver* GetChannelDriver(const char* cpuName) override;
    uint32_t GetNextAvailableChannel() override;
    uint32_t ConstantQueryB(uint32_t argument) override;
    void ProgressNotice() override;
    uint32_t ConstantQueryC() override;

  private:
    BrokenDriver* Find(const char* cpuName);

    const uint32_t life;
    std::vector<std::unique_ptr<BrokenDriver>> drivers;
};
