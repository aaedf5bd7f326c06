#pragma once

#include "tracehost/json_output.h"
#include "tracehost/output_file.h"
#include "tracehost/record_request.h"
#include "tracehost/recording_result.h"

namespace Korr::Plim::Trace::Tracehost {

/// What "record --json" prints at the end of a recording (docs/json.md).
/// \param conclusion whose problems become one text
Json ToJson(const RecordRequest& request, const OutputFile& file, const RecordingResult& result,
            const Conclusion& conclusion);

}  // namespace Korr::Plim::Trace::Tracehost
