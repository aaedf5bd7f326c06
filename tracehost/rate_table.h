#pragma once

#include <cstdint>
#include <optional>
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

/// The same in the order of the plug-in's search for a prescaler: from 0 on until the port takes a rate
/// within kSearchTolerance of what was asked for, or refuses one. The last row is the one taken, unless it
/// was refused or all 8,192 were asked in vain. \throws HostError
std::vector<RateRow> SearchRates(uint32_t port, double clock);
inline constexpr double kSearchTolerance = 0.05;
/// Whether a search ends at this row.
bool EndsSearch(const RateRow& row);

/// The relative difference of the rate taken from the rate asked for; -1 when it was refused.
double RateError(const RateRow& row);

/// The table for a terminal.
std::string FormatRates(const std::vector<RateRow>& rows);

/// The same of a search: many rows are shortened to the first and the last ones, and a search in vain is told
/// in words. \param chosen prescaler that a recording took; absent: none
std::string FormatSearch(const std::vector<RateRow>& rows, std::optional<uint32_t> chosen);

}  // namespace Korr::Plim::Trace::Tracehost
