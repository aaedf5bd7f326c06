#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include "tracehost/cli_names.h"

#include "exports/output.h"
#include "trace/capture_analysis.h"
#include "tracehost/capture_input.h"
#include "tracehost/fail_on.h"
#include "tracehost/recording_sheet.h"

namespace Korr::Plim::Trace::Tracehost {

/// What the user said about a capture that is to be decoded. What is absent comes from the recording's sheet.
struct CaptureRequest {
    std::string file;  ///< "-": standard input
    std::optional<uint32_t> section;
    Swo::FramingOptions framing;
    std::optional<double> clock;  ///< Hz
    std::optional<uint32_t> timestampPrescale;
    std::optional<double> baud;  ///< of the line
    std::optional<uint8_t> counterPort;
    bool waitForSync = false;
    FailOn failOn = FailOn::Line;
};

/// Adds the options of CaptureRequest, and FILE.
void AddCaptureOptions(CLI::App& command, CaptureRequest& request);
/// Adds "--section" alone.
CLI::Option* AddSection(CLI::App& command, CaptureRequest& request);
/// Adds those that say how bytes are decoded, but for clock and timestamp prescale.
void AddDecodingOptions(CLI::App& command, CaptureRequest& request);
/// Adds "--baud".
void AddLineRate(CLI::App& command, CaptureRequest& request);
/// Adds "--fail-on".
void AddFailOn(CLI::App& command, FailOn& failOn);
/// Adds "--counter-port".
void AddCounterPort(CLI::App& command, std::optional<uint8_t>& port);

/// One capture of a file, ready to be read, with what is known about it.
struct Capture {
    std::string name;  ///< as a report shows it: "trace.tdf, section 2"
    CaptureInput* input = nullptr;
    RecordingSheet sheet;  ///< empty when there is none
    bool hasSheet = false;
    std::optional<uint64_t> length;  ///< bytes, when known; without the padding that the sheet tells of
    uint64_t base = 0;               ///< bytes of the captures before it
    Exports::TimeScale scale;
    std::optional<double> baud;  ///< as the user gave it
    Swo::AnalysisOptions options;

    /// Reads it to its end. \param each is called with every piece, at most kPiece bytes \return bytes read
    uint64_t Read(const std::function<void(std::span<const uint8_t>)>& each) const;
    static constexpr std::size_t kPiece = 65536;
};

/// Calls `work` with every capture that was asked for, in their order. A sheet that cannot be used is told on
/// standard error. \throws UsageError when the file or the section is not there; HostError, after all
/// captures, when the file is damaged or cannot be read further
void ForEachCapture(const CaptureRequest& request, const std::function<void(Capture&)>& work);

/// Adds what the recording's sheet tells of its port to the ledger and to the features.
void AddHostKnowledge(const Capture& capture, Swo::CaptureAnalysis& analysis, Swo::SignalFeatures& features);

/// The exit status of what was decoded. \param usable whether packets of the target stand in it
int StatusOf(const Swo::LedgerTotals& totals, bool usable, FailOn failOn);
/// The one of several statuses that tells most.
int WorseStatus(int one, int other);

}  // namespace Korr::Plim::Trace::Tracehost
