#pragma once

#include <cstdint>

#include "host_api/DeviceIdentifier.h"
#include "host_api/MemoryAccessor.h"
#include "uart/target_word.h"

namespace Korr::Plim::Trace::Tarnel {

/// Readers of a target's system clock, which is the trace clock of its TPIU; one class per device family. A
/// reader reads the family's registers when it is constructed and keeps their values; GetFrequency computes.
///
/// Constructors: (device name, device information source, memory accessor); neither pointer is owned. The
/// accessor is used during the life of the reader. All throw cPelkitError (severity 2). A register that the
/// device's clock module does not have is an error. A register that cannot be read from the target, with a
/// null accessor too, is logged as 0; a frequency that would depend on it is an error (see TargetWord).

/// Whether a `Glintar` device class is of the Rimefold sub-family: 10 and 12.
constexpr bool IsRimefoldClass(uint32_t deviceClass) { return deviceClass == 10 || deviceClass == 12; }

/// Clock system with CSCTL0 to CSCTL3.
class Tarnel_FerrinDevice {
  public:
    Tarnel_FerrinDevice(const char* deviceName, DeviceIdentifier* information, MemoryAccessor* memory);
    /// System clock in Hz; negative for calibration words that give a negative DCO. \throws cPelkitError
    /// when it cannot be computed, also when the result is 0, infinite or no number
    double GetFrequency() const;

  private:
    double SourceFrequency(uint32_t selm) const;
    double DcoFrequency() const;

    MemoryAccessor* memory;
    TargetWord csctl0;
    TargetWord csctl1;
    TargetWord csctl2;  ///< for the log only
    TargetWord csctl3;  ///< for the log only
    TargetWord csclken;
    uint32_t tlvbase = 0;  ///< an address, not read
};

/// Clock divider CPUCLKDIV.
class Tarnel_MothwingDevice {
  public:
    /// \throws cPelkitError also when the register cannot be read, because GetFrequency never throws
    Tarnel_MothwingDevice(const char* deviceName, DeviceIdentifier* information, MemoryAccessor* memory);
    /// System clock in Hz; never throws.
    double GetFrequency() const;

  private:
    uint32_t cpuclkdiv = 0;
};

/// DID0 with RCC and RCC2, or with RSCLKCFG, PLLFREQ0 and PLLFREQ1 on the Rimefold sub-family.
class Tarnel_GlintarDevice {
  public:
    Tarnel_GlintarDevice(const char* deviceName, DeviceIdentifier* information, MemoryAccessor* memory);
    /// System clock in Hz; 0 for a Rimefold PLL that multiplies by 0. \throws cPelkitError when it cannot be
    /// computed
    double GetFrequency() const;
    /// Bits 16 to 23 of DID0; 0 when it could not be read.
    uint32_t DeviceClass() const { return deviceClass; }

  private:
    double RunClockFrequency() const;
    double RimefoldFrequency() const;

    TargetWord did0;
    uint32_t deviceClass = 0;
    TargetWord rcc;
    TargetWord rcc2;
    TargetWord rsclkcfg;
    TargetWord pllfreq0;
    TargetWord pllfreq1;
};

}  // namespace Korr::Plim::Trace::Tarnel
