#pragma once

#include <string>

#include "options/ChannelOptions.h"
#include "tracehost/record_request.h"

namespace Korr::Plim::Trace::Tracehost {

/// Puts the request's settings into a default option list. Without a port in the request the list's own, the
/// first that was discovered, stays.
/// \throws UsageError when no port was given or discovered
void ApplyRequest(Tarnel::OptionList& options, const RecordRequest& request);

/// Writes an options file and reads it back, because the handler does not say when a write failed.
/// \throws cPelkitError when the file cannot be opened, HostError when it does not hold what was written
void SaveWholeOptions(const Tarnel::OptionList& options, const std::string& file);

/// Writes an options file for a request. \throws as both above
void WriteOptionsFile(const RecordRequest& request, const std::string& file);

}  // namespace Korr::Plim::Trace::Tracehost
