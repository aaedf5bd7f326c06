#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "host_api/CChannelDriver.h"

namespace fakes {

/// A driver whose capture a test writes: what a host that records sees of it. Everything else does nothing.
class ScriptedChannelDriver : public Korr::Plim::Trace::CChannelDriver {
  public:
    std::string capture;
    std::size_t mostSamples = SIZE_MAX;                ///< that one read-back gives
    bool refusesReads = false;                         ///< as when the capture file cannot be opened
    std::string saved;                                 ///< what SaveFile writes
    std::string saveRefusal;                           ///< what SaveFile throws; empty: nothing
    std::vector<std::pair<uint32_t, uint32_t>> reads;  ///< first sample and number of each read-back

    uint32_t GetNumSamples() override { return static_cast<uint32_t>((capture.size() + 7) / 8); }
    uint32_t SeekReadTraceData(uint32_t start, uint32_t requested, void* buffer, uint32_t& samples) override {
        reads.emplace_back(start, requested);
        samples = 0;
        if (refusesReads || start * std::size_t{8} >= capture.size()) return 0;
        const std::string rest = capture.substr(start * std::size_t{8});
        const std::size_t most = std::min<std::size_t>(requested, mostSamples);
        samples = static_cast<uint32_t>(std::min<std::size_t>((rest.size() + 7) / 8, most));
        std::memcpy(buffer, rest.data(), std::min<std::size_t>(rest.size(), samples * std::size_t{8}));
        return samples;
    }
    void SaveFile(const char* name, int32_t) override {
        if (!saveRefusal.empty()) throw std::runtime_error(saveRefusal);
        std::ofstream(name, std::ios::binary | std::ios::app) << saved;
    }

    bool IsBufferWrapped() override { return false; }
    void SetConfiguration(const char*) override {}
    void StartRecording(uint8_t) override {}
    void StopRecording() override {}
    void ResumeRecording() override {}
    void LoadFile(const char*) override {}
    const char* GetCpuName() override { return "board/cpu"; }
    void GetStatus(Korr::Plim::Trace::StatusRecord&) override {}
    Korr::Plim::Trace::HostString& GetExtendedInfo(Korr::Plim::Trace::HostString& result) override {
        return result;
    }
    void JobStateChanged(uint32_t) override {}
    void SetTargetState(uint32_t) override {}
    void SetHaltState(const char*, uint8_t) override {}
    void UnregisterCpu(const char*) override {}
    void GetAttribute(const char*, Korr::Plim::Trace::TraceAttribute&) override {}
};

}  // namespace fakes
