#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "tracehost/demo_signal.h"
#include "tracehost/explanation.h"
#include "tracehost/host_session.h"
#include "tracehost/output_file.h"
#include "tracehost/record_request.h"
#include "tracehost/temporary_folder.h"

namespace Korr::Plim::Trace::Tracehost {

/// One recording from beginning to end, as a debugger would do it: load, create, allocate, configure, start,
/// wait, stop, save, release, destroy.
class Recording {
  public:
    /// \param outputStream for progress and summary
    Recording(const RecordRequest& wanted, std::FILE* outputStream);

    /// Does it all. \throws UsageError, HostError (with the plug-in's text as it stands). What was captured
    /// until then is saved when that is possible, else the message says where it lies
    void Run();

  private:
    void Record();
    void PrepareBoard();
    void PrepareOptions();
    void Start(CChannelDriver& driver);
    void WaitForEnd(CChannelDriver& driver);
    bool EndReached(double elapsed, uint64_t bytes) const;
    void StopAndSave(CChannelDriver& driver);
    void ReadSettings(CChannelDriver& driver);
    void PrintSummary() const;
    std::string CaptureFile() const;
    uint64_t CapturedBytes(uint64_t padded) const;
    void RefuseIfInterrupted() const;
    Surroundings Used() const;

    RecordRequest request;
    std::FILE* output;
    TemporaryFolder folder;
    std::optional<DemoSignal> signal;  ///< ends with the recording
    OutputFile file;
    std::optional<HostSession> session;
    std::string optionsInUse;  ///< the user's options file or tracehost's own

    double seconds = 0;     ///< of recording
    uint64_t bytes = 0;     ///< captured, rounded up to whole samples until the recording has ended
    double traceClock = 0;  ///< Hz
    double bitRate = 0;     ///< bits per second on the pin
};

}  // namespace Korr::Plim::Trace::Tracehost
