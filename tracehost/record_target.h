#pragma once

#include <vector>
#include "tracehost/cli_names.h"

#include "tracehost/record_request.h"

namespace Korr::Plim::Trace::Tracehost {

/// The options that say what is recorded.
struct TargetOptions {
    std::vector<CLI::Option*> settings;  ///< those that an options file tells: see AddSettings
    std::vector<CLI::Option*> others;    ///< --board, --cpu, --options, --demo
};

/// Adds them. \param request must outlive the parsing
TargetOptions AddTarget(CLI::App& command, RecordRequest& request);

/// Settles, once the command line is read, what they leave open. \throws UsageError for a combination that
/// would ignore what the user gave
void SettleTarget(RecordRequest& request, const TargetOptions& options);

}  // namespace Korr::Plim::Trace::Tracehost
