#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tracehost/recording_sheet.h"

namespace Korr::Plim::Trace::Tracehost {

/// Rates differ by at most so much when a port can be read at one and written at the other.
inline constexpr double kRateTolerance = 0.03;

/// Asks a port for the rates of prescalers `from` to `to` at a trace clock, and reads back what it took. The
/// port is opened and left as the plug-in does; its own rate is given back. \throws HostError when it cannot
/// be used
std::vector<RateRow> AskRates(uint32_t port, double clock, uint32_t from, uint32_t to);

/// The relative difference of the rate taken from the rate asked for; -1 when it was refused.
double RateError(const RateRow& row);

/// The table for a terminal. \param chosen prescaler that is marked as taken; absent: none
std::string FormatRates(const std::vector<RateRow>& rows, std::optional<uint32_t> chosen);

}  // namespace Korr::Plim::Trace::Tracehost
