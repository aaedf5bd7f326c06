#pragma once

#include <string>
#include <vector>

#include "trace/signal_check.h"
#include "tracehost/recording_sheet.h"

namespace Korr::Plim::Trace::Tracehost {

/// A verdict in one line: "rate-too-high (sure): the port runs 1.98 to 2.02 times as fast as the line".
std::string VerdictLine(const Swo::SignalFeatures& features, const Swo::Diagnosis& diagnosis);

/// What can be done about it, a line each; empty when nothing has to be. \param sheet what is known of the
/// recording; its fields may be missing
std::vector<std::string> Advice(const Swo::SignalFeatures& features, const Swo::Diagnosis& diagnosis,
                                const RecordingSheet& sheet);

/// What was measured, a line each.
std::vector<std::string> DescribeFeatures(const Swo::SignalFeatures& features);

}  // namespace Korr::Plim::Trace::Tracehost
