#pragma once

#include <string>

#include "trace/capture_analysis.h"
#include "trace/hole_forecast.h"
#include "tracehost/captures.h"

namespace Korr::Plim::Trace::Tracehost {

/// All that a report tells of one capture.
struct CaptureReport {
    const Capture& capture;
    const Swo::CaptureAnalysis& analysis;
    Swo::SignalFeatures features;
    Swo::Diagnosis diagnosis;
    Swo::HoleForecast forecast;
    int status = 0;
};

inline constexpr std::size_t kEntriesShown = 20;

/// The report for a terminal.
std::string FormatReport(const CaptureReport& report);
/// The report for programs: a JSON object a ledger entry, then one that sums up, each on a line.
std::string ReportAsJson(const CaptureReport& report);

/// A paragraph as lines of at most `width` characters.
std::string Wrap(const std::string& text, std::size_t width);

}  // namespace Korr::Plim::Trace::Tracehost
