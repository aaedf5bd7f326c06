#pragma once

#include <string>

#include "tracehost/json_output.h"
#include "tracehost/output_file.h"
#include "tracehost/record_request.h"
#include "tracehost/recording_result.h"

namespace Korr::Plim::Trace::Tracehost {

/// What "record --json" prints at the end of a recording (docs/json.md).
/// \param status the exit status \param problem what was lost or cut short, empty for status 0
Json ToJson(const RecordRequest& request, const OutputFile& file, const RecordingResult& result, int status,
            const std::string& problem);

}  // namespace Korr::Plim::Trace::Tracehost
