#pragma once

#include <cstdio>

#include "tracehost/record_request.h"

namespace Korr::Plim::Trace::Tracehost {

/// Takes a recording, decodes it meanwhile, and writes its sheets beside or into what is saved.
/// \param standardOutput for progress and summary, text that is printed, or the trace itself
/// \return the exit status. \throws UsageError, HostError
int TakeRecording(const RecordRequest& request, std::FILE* standardOutput);

}  // namespace Korr::Plim::Trace::Tracehost
