#pragma once

#include <cstdio>

#include "tracehost/output_file.h"
#include "tracehost/record_request.h"
#include "tracehost/recording_result.h"

namespace Korr::Plim::Trace::Tracehost {

/// The lines that a person reads at the end of a recording.
void PrintSummary(std::FILE* output, const RecordRequest& request, const OutputFile& file,
                  const RecordingResult& result);

}  // namespace Korr::Plim::Trace::Tracehost
