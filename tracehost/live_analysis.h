#pragma once

#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "trace/capture_analysis.h"
#include "tracehost/capture_follower.h"
#include "tracehost/captures.h"
#include "tracehost/record_options.h"
#include "tracehost/record_request.h"
#include "tracehost/recording_result.h"
#include "tracehost/recording_sheet.h"

namespace Korr::Plim::Trace::Tracehost {

/// Decodes a recording while it is made: what was lost, the text of chosen stimulus ports, and what the
/// recording's sheets tell of the time. Every part of the recording is a capture of its own. [host thread]
class LiveAnalysis : public CaptureObserver, private Swo::TextReceiver {
  public:
    /// \param wanted kept by reference \param text where the text goes that the request wants printed
    LiveAnalysis(const RecordRequest& wanted, std::FILE* text);

    /// To be called often while a capture runs. \param number COM port that is recorded, whose counters are
    /// looked at ten times a second
    void WatchPort(std::optional<uint32_t> number);
    void Take(std::span<const uint8_t> bytes) override;
    /// A part, the result's last one, has been stopped and saved. \return its sheet
    RecordingSheet EndPart(const RecordingResult& result);
    /// Nothing more comes. \param output of the summary; null: nothing is shown
    /// \param conclusion gets what the trace decides of the exit status, and why
    void Finish(std::FILE* output, Conclusion& conclusion) const;
    /// For the progress line: "lost: 3 overflows, 0 damaged".
    std::string Line() const;

  private:
    using Clock = std::chrono::steady_clock;

    void Write(uint8_t port, const uint8_t* bytes, std::size_t count) override;
    void PrintText();
    void BeginPart();
    void LookAtCounters();
    std::size_t BytesToSave() const;
    void PrintVerdict(std::FILE* output) const;
    RecordingSheet Sheet(const RecordingResult& result) const;

    const RecordRequest& request;
    const AskedLine asked;
    std::FILE* print;
    std::string pending;  ///< text to be printed

    // Of the present part.
    std::unique_ptr<Swo::CaptureAnalysis> analysis;
    Clock::time_point begun;
    std::string started;
    bool decided = false;
    std::optional<uint32_t> port;
    Clock::time_point lookAt;
    ArrivalLog arrivals;
    CounterLog counters;
    std::string countersNote;
    std::optional<uint32_t> baud;  ///< that the port reports

    // Of the parts that have ended.
    uint64_t saved = 0;  ///< bytes
    Swo::LedgerTotals totals;
    uint64_t told = 0;  ///< bytes of the part that the verdict is about, the longest one
    Swo::SignalFeatures features;
    Swo::Diagnosis diagnosis;
};

}  // namespace Korr::Plim::Trace::Tracehost
