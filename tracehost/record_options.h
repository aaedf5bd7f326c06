#pragma once

#include <string>

#include "options/ChannelOptions.h"
#include "tracehost/record_request.h"

namespace Korr::Plim::Trace::Tracehost {

/// Puts the request's settings into a default option list. Without a port in the request the list's own, the
/// first that was discovered, stays.
/// \throws UsageError for a clock or prescaler that is neither "auto" nor a number in range, and when no port
/// was given or discovered
void ApplyRequest(Tarnel::OptionList& options, const RecordRequest& request);

/// Writes an options file for a request. \throws UsageError as above, cPelkitError when it cannot be written
void WriteOptionsFile(const RecordRequest& request, const std::string& file);

}  // namespace Korr::Plim::Trace::Tracehost
