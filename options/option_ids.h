#pragma once

#include <cstdint>
#include <string>

namespace Korr::Plim::Trace::Tarnel {

/// Option IDs: rows of the option table. Fixed; shared by the options file and the channel driver.
enum OptionId : uint32_t {
    kOptionFirmwareVersion = 0,     ///< RCVRFWVER
    kOptionEncoding = 1,            ///< ENCTYPE
    kOptionPrescaler = 2,           ///< PRESCALAR
    kOptionPrescalerValue = 3,      ///< PRESCALARVAL
    kOptionClock = 4,               ///< CLKFREQ
    kOptionClockValue = 5,          ///< CLKFREQVAL
    kOptionComPort = 6,             ///< COMPORT
    kOptionTimestampPrescaler = 7,  ///< TSPRESCALAR
    kOptionNone = 8,                ///< terminator, and "no option"
};

}  // namespace Korr::Plim::Trace::Tarnel
