#pragma once

#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "trace/capture_analysis.h"
#include "tracehost/capture_follower.h"
#include "tracehost/captures.h"
#include "tracehost/record_request.h"
#include "tracehost/recording_result.h"
#include "tracehost/recording_sheet.h"

namespace Korr::Plim::Trace::Tracehost {

/// Decodes a recording while it is made: what was lost, the text of chosen stimulus ports, and what the
/// recording's sheet tells of the time. [host thread]
class LiveAnalysis : public CaptureObserver, private Swo::TextReceiver {
  public:
    /// \param wanted kept by reference \param text where the text goes that the request wants printed
    LiveAnalysis(const RecordRequest& wanted, std::FILE* text);

    /// \param number COM port that is recorded, whose counters are looked at while bytes come
    void UsePort(std::optional<uint32_t> number) { port = number; }
    void Take(std::span<const uint8_t> bytes) override;
    /// Nothing more comes. \param output of the summary; null: nothing is shown
    /// \return the exit status, as far as the trace decides it
    int Finish(const RecordingResult& result, std::FILE* output);
    /// For the progress line: "lost: 3 overflows, 0 damaged".
    std::string Line() const;
    /// Of a recording that has been finished. Without what only the recording knows.
    RecordingSheet Sheet(const RecordingResult& result) const;

  private:
    using Clock = std::chrono::steady_clock;

    void Write(uint8_t port, const uint8_t* bytes, std::size_t count) override;
    void LookAtCounters();
    void PrintVerdict(std::FILE* output) const;

    const RecordRequest& request;
    std::FILE* print;
    std::unique_ptr<Swo::CaptureAnalysis> analysis;
    Swo::SignalFeatures features;
    Swo::Diagnosis diagnosis;
    Clock::time_point begun = Clock::now();
    std::string started;
    bool decided = false;
    std::optional<uint32_t> port;
    ArrivalLog arrivals;
    std::optional<PortCounters> before;
    std::optional<PortCounters> after;
    std::string countersNote;
    std::optional<uint32_t> baud;  ///< that the port reports
};

/// Writes a sheet beside each part of a recording, or into it. Streams get none. \throws HostError
void WriteSheets(const RecordingSheet& sheet, const RecordingResult& result, bool raw);

}  // namespace Korr::Plim::Trace::Tracehost
