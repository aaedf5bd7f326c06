#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tracehost/capture_follower.h"
#include "tracehost/capture_thread.h"
#include "tracehost/capture_watch.h"
#include "tracehost/demo_signal.h"
#include "tracehost/explanation.h"
#include "tracehost/host_session.h"
#include "tracehost/output_file.h"
#include "tracehost/progress.h"
#include "tracehost/record_request.h"
#include "tracehost/recording_log.h"
#include "tracehost/recording_result.h"
#include "tracehost/temporary_folder.h"

namespace Korr::Plim::Trace::Tracehost {

/// One recording from beginning to end, as a debugger would do it: load, create, allocate, configure, start,
/// wait, stop, save, release, destroy. A port that goes away and comes back makes it several captures, each a
/// part.
class Recording {
  public:
    /// \param standardOutput for progress and summary, or for the trace when the request wants it there
    Recording(const RecordRequest& wanted, std::FILE* standardOutput);

    /// Lets an observer see all captured bytes while they come. To be called before Run; it outlives the
    /// recording.
    void Observe(CaptureObserver& observer) { follower.Add(observer); }

    /// Adds words of somebody else to the progress line, asked for each time it is shown.
    void ShowBeside(std::function<std::string()> words) { note = std::move(words); }
    /// Is called when a part, the result's last one, has been stopped and saved.
    void AfterPart(std::function<void(const RecordingResult&)> take) { afterPart = std::move(take); }
    /// Is called once all is saved and the summary shown. \param conclude is given the stream of the summary,
    /// null when none is wanted, and adds what it knows
    void AtEnd(std::function<void(std::FILE*, Conclusion&)> conclude) { atEnd = std::move(conclude); }

    /// Ends it as the user's interrupt does. [any thread]
    void AskToEnd() { askedToEnd = true; }

    /// Does it all. \return the exit status. \throws UsageError, HostError (with the plug-in's text as it
    /// stands). What was captured until then is saved when that is possible, else the message says where it
    /// lies
    int Run();
    /// What came of it, complete after Run.
    const RecordingResult& Result() const { return result; }
    const OutputFile& File() const { return file; }
    /// COM port number, once it is known.
    std::optional<uint32_t> Port() const { return port; }

  private:
    using Clock = std::chrono::steady_clock;

    void Record();
    void CreateReceiver();
    void PrepareBoard();
    void PrepareOptions();
    void AwaitPort();
    bool MayStillWait() const;
    void Start(CChannelDriver& driver);
    void ExplainRates(double clock);
    void ExplainFailure();
    [[noreturn]] void RefuseToWaitOn(const std::string& wanted, double seconds);
    void NextOutput();
    bool StartAgain(CChannelDriver& driver);
    void ReadSettings(CChannelDriver& driver);
    void StartDriver(CChannelDriver& driver);
    void Capture(CChannelDriver& driver);
    void NoteFault(const CaptureFault& fault);
    std::optional<EndReason> EndReached(double elapsed, uint64_t captured) const;
    void StopAndSave(CChannelDriver& driver);
    void Save(CChannelDriver& driver);
    [[noreturn]] void ThrowNotSaved(const std::string& stopError) const;
    void NoteStreamFailure(const std::string& why);
    bool ShallReconnect() const;
    Conclusion Judge() const;
    int Conclude();
    std::string CaptureFile() const;
    uint64_t CapturedBytes(uint64_t padded) const;
    std::optional<uint64_t> BytesLeft() const;
    double Elapsed() const;
    void RefuseIfInterrupted() const;
    Surroundings Used() const;

    RecordRequest request;
    std::atomic<bool> askedToEnd{false};
    TemporaryFolder folder;
    RecordingLog log;
    std::optional<DemoSignal> signal;  ///< ends with the recording
    OutputFile file;
    std::FILE* jsonOutput;  ///< for the object of --json
    std::FILE* output;      ///< for progress and summary
    ProgressDisplay display;
    std::optional<HostSession> session;
    CaptureThread thread;
    std::optional<CaptureWatch> watch;  ///< of the present part
    CaptureFollower follower;
    std::function<std::string()> note;
    std::function<void(const RecordingResult&)> afterPart;
    std::function<void(std::FILE*, Conclusion&)> atEnd;

    std::string options;           ///< path of the user's options file or of tracehost's own
    std::optional<uint32_t> port;  ///< COM port number, where it is known
    Clock::time_point begun;       ///< the first start
    double foundClock = 0;         ///< Hz, of a start that was refused; 0: not known
    RecordingResult result;
};

}  // namespace Korr::Plim::Trace::Tracehost
