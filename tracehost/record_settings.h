#pragma once

#include <cstdint>
#include <string>
#include <vector>
#include "tracehost/cli_names.h"

#include "tracehost/record_request.h"

namespace Korr::Plim::Trace::Tracehost {

/// Adds the options that fill an options file of tracehost's own: port, clock, prescaler, timestamp prescale,
/// firmware. \param request must outlive the parsing
std::vector<CLI::Option*> AddSettings(CLI::App& command, RecordRequest& request);

/// The options of which at least one was given.
bool AnyGiven(const std::vector<CLI::Option*>& settings);

/// "5", "COM5" or, where ports are devices, a path: the number of the port. \throws UsageError
uint32_t ParsePort(const std::string& text);

}  // namespace Korr::Plim::Trace::Tracehost
