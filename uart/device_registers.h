#pragma once

#include <cstdint>

#include "host_api/DeviceIdentifier.h"
#include "host_api/MemoryAccessor.h"

namespace Korr::Plim::Trace::Tarnel {

/// Reads the 4 bytes at a target address as one word. \return false, with `word` 0, for a null accessor and a
/// failing read
bool ReadTargetWord(MemoryAccessor* memory, uint32_t address, uint32_t& word);

/// Bits `low` to `high` (both included, 0 to 31) of a word, moved down to bit 0.
constexpr uint32_t Bits(uint32_t word, unsigned low, unsigned high) {
    const uint64_t mask = (uint64_t{1} << (high - low + 1)) - 1;
    return static_cast<uint32_t>((word >> low) & mask);
}

/// Throws the error of a reader that cannot compute a clock. \throws cPelkitError always
[[noreturn]] void ThrowClockError();

/// The clock registers of a device: the module "MOD_SYSCLK" of its device information.
class ClockRegisters {
  public:
    /// \param deviceName null counts as a device without information
    /// \param information not owned, null counts as no information
    /// \param memory not owned, may be null
    /// \throws cPelkitError when there is no information or no such module
    ClockRegisters(const char* deviceName, DeviceIdentifier* information, MemoryAccessor* memory);

    /// Target address of a register. Text that is no hexadecimal number gives 0, a number above 32 bits
    /// 0xFFFFFFFF. \throws cPelkitError for a name that the module does not have (empty address text)
    uint32_t Address(const char* registerName) const;
    /// Value of a register, read from the target; 0 when it cannot be read. \throws cPelkitError as Address
    uint32_t Read(const char* registerName);
    /// Whether every Read so far got its register. A clock computed from others would be wrong.
    bool AllRead() const { return allRead; }

  private:
    DeviceModule* module;
    MemoryAccessor* memory;
    bool allRead = true;
};

}  // namespace Korr::Plim::Trace::Tarnel
