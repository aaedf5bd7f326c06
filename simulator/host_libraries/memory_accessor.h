#pragma once

#include <string>

#include "host_api/MemoryAccessor.h"

namespace Korr::Plim::Trace::Simulator {

/// The memory of one CPU, as the board file has it at each read. Lives until the library is unloaded.
class SimulatedMemory final : public MemoryAccessor {
  public:
    explicit SimulatedMemory(std::string name) : cpuName(std::move(name)) {}
    virtual ~SimulatedMemory() = default;
    uint32_t ReadMemory(uint32_t address, uint32_t& value) override;

  private:
    std::string cpuName;
};

}  // namespace Korr::Plim::Trace::Simulator
