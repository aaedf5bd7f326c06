#pragma once

#include <cstdio>

#include "tracehost/output_file.h"
#include "tracehost/record_request.h"
#include "tracehost/recording_result.h"

namespace Korr::Plim::Trace::Tracehost {

/// The lines that a person reads at the end of a recording.
void PrintSummary(std::FILE* output, const RecordRequest& request, const OutputFile& file,
                  const RecordingResult& result);

/// The line about those who got the bytes as they came.
void PrintTcpClients(std::FILE* output, const TcpClients& clients);

}  // namespace Korr::Plim::Trace::Tracehost
