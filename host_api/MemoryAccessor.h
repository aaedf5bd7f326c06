#pragma once

#include <cstdint>

namespace Korr::Plim::Trace {

/// Reads the memory of the CPU it was made for. Owned by the host's library that made it (NewTargetAdapter).
class MemoryAccessor {
  public:
    /// Reads the 4 bytes at a 32-bit address of the CPU as one word. [plug-in]
    /// \param address of the first byte
    /// \param value out; left as it was on failure
    /// \return 0 for success
    virtual uint32_t ReadMemory(uint32_t address, uint32_t& value) = 0;

  protected:
    ~MemoryAccessor() = default;
};

}  // namespace Korr::Plim::Trace
