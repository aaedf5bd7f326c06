#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tracehost/exit_status.h"
#include "tracehost/recording_sheet.h"
#include "tracehost/tcp_output.h"

namespace Korr::Plim::Trace::Tracehost {

/// One stretch of a recording between a start and a stop: there are several when the port went away and came
/// back.
struct RecordedPart {
    std::string file;         ///< that it was saved into
    std::string captureFile;  ///< the plug-in's
    double begin = 0;         ///< seconds since the recording began
    double end = 0;
    uint64_t bytes = 0;                 ///< saved, without padding
    std::string fault;                  ///< why it ended though nobody stopped it, empty: it was stopped
    double faultAt = 0;                 ///< seconds since the recording began when that was noticed
    bool portFault = false;             ///< because of the port
    std::optional<uint32_t> readError;  ///< the platform's number, when reading the port ended it
};

/// Why a recording ended.
enum class EndReason {
    Asked,       ///< Ctrl-C or its like
    Time,        ///< --seconds
    Size,        ///< --bytes
    ReaderGone,  ///< the reader of a streamed output closed it
    OutputFull,  ///< a streamed output takes no more
    Fault,       ///< it was cut short
};

/// How a recording ends that is done.
struct Conclusion {
    int status = kDone;                 ///< exit status
    std::optional<TcpClients> tcp;      ///< when the bytes were given to others
    std::vector<std::string> problems;  ///< sentences without their full stops; none for status 0

    /// One more problem; the worse status counts.
    void Add(int worse, std::string problem) {
        status = status > worse ? status : worse;
        problems.push_back(std::move(problem));
    }
};

/// What came of a recording.
struct RecordingResult {
    std::string plugin;  ///< file name and version
    std::vector<RecordedPart> parts;
    EndReason reason = EndReason::Asked;
    std::chrono::system_clock::time_point started;  ///< the first start
    double seconds = 0;                             ///< from the first start to the last stop
    uint64_t bytes = 0;                             ///< saved, of all parts
    double traceClock = 0;                          ///< Hz
    double bitRate = 0;                             ///< bits per second on the pin
    std::vector<RateRow> rates;  ///< that the port was asked for, when the request wants that explained
    uint64_t lostBytes = 0;  ///< known to be lost: those that a demonstration's simulated probe had to drop

    bool CutShort() const { return reason == EndReason::Fault || reason == EndReason::OutputFull; }
    /// How many parts ended because the port went away while the recording went on, be it only with waiting.
    std::size_t TimesAway() const;
    /// The TPIU prescaler that clock and rate tell.
    uint32_t Prescaler() const;
    /// The sentence about a recording that was cut short: "the recording was cut short after 3.2 s and 12345
    /// bytes: …".
    std::string CutShortSentence() const;
    /// The sentence about a port that was away, of which there is at least one time: "trace was lost while
    /// the port was away 1 time(s), first after 3.2 s and 12345 bytes: …".
    std::string AwaySentence() const;
};

}  // namespace Korr::Plim::Trace::Tracehost
