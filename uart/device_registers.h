#pragma once

#include <cstdint>

#include "host_api/DeviceIdentifier.h"
#include "uart/target_word.h"

namespace Korr::Plim::Trace::Tarnel {

/// The clock registers of a device: the module "MOD_SYSCLK" of its device information.
class ClockRegisters {
  public:
    /// \param deviceName null counts as a device without information
    /// \param information not owned, null counts as no information
    /// \param memory not owned, may be null
    /// \throws cPelkitError when there is no information or no such module
    ClockRegisters(const char* deviceName, DeviceIdentifier* information, MemoryAccessor* memory);

    /// Target address of a register, asked of the host. Text that is no hexadecimal number gives 0, a number
    /// above 32 bits 0xFFFFFFFF. \throws cPelkitError for a name that the module does not have (empty address
    /// text)
    uint32_t Address(const char* registerName) const;
    /// A register, looked up and read from the target. \throws cPelkitError as Address
    TargetWord Read(const char* registerName) const;

  private:
    DeviceModule* module;
    MemoryAccessor* memory;
};

}  // namespace Korr::Plim::Trace::Tarnel
