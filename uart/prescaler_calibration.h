#pragma once

#include <cstdint>

#include "uart/serial_port.h"

namespace Korr::Plim::Trace::Tarnel {

/// Largest value of the TPIU's 13-bit prescaler field.
inline constexpr uint32_t kMaxPrescaler = 0x1FFF;

/// Truncates a rate in Hz to an unsigned 32-bit number: not a number and negative rates give 0, rates above
/// the range give 4294967295.
uint32_t TruncateRate(double rate);

/// Programs the port's line for trace clock / (prescaler + 1) and, when `autoPrescaler` is true, searches the
/// smallest prescaler whose rate the port reports within 5 %, 5 % included. The port is given the truncated
/// rate; the comparison uses the exact one. Without `autoPrescaler` the rate that the port took is not looked
/// at. A rate that is zero, negative, infinite or no number is matched by nothing: the search for it ends as
/// exhausted, unless the port refuses a rate before (on Linux every port refuses rate 0).
/// \param port open; closed on every failure but the exhausted search, which leaves it open and logs nothing
/// \param savedState line settings as found; the base of those that are programmed
/// \param traceClock in Hz, any value
/// \param prescaler in and out; on failure the one tried last
/// \param baudRate out: the rate last asked of the port
/// \throws cPelkitError
void ConfigurePort(SerialPort& port, const LineState& savedState, double traceClock, bool autoPrescaler,
                   uint32_t& prescaler, uint32_t& baudRate);

}  // namespace Korr::Plim::Trace::Tarnel
