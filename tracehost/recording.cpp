#include "tracehost/recording.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "host_api/cPelkitError.h"
#include "simulator/pelkit/error_reading.h"
#include "source_utilities/environment_variables.h"
#include "source_utilities/file_system.h"
#include "source_utilities/visible_text.h"
#include "tracehost/errors.h"
#include "tracehost/interrupt.h"
#include "tracehost/own_board.h"
#include "tracehost/plugin_version.h"
#include "tracehost/record_options.h"
#include "tracehost/recording_json.h"
#include "tracehost/recording_summary.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr uint64_t kSampleSize = 8;
constexpr auto kPollPause = std::chrono::milliseconds(20);
constexpr double kWatchPause = 0.1;  // seconds
constexpr uint32_t kCpuId = 0;
constexpr double kSixDigits = 1e-5;  // as far as a number of six digits can be off
constexpr const char* kClockAttribute = "Timing Clock Frequency";
constexpr const char* kFolderVariable = "KORR_TRACE_LOGGING_DIR";  ///< set by the plug-in

double NumberAttribute(CChannelDriver& driver, const char* name) {
    TraceAttribute attribute;
    driver.GetAttribute(name, attribute);
    return attribute.value != nullptr ? std::strtod(attribute.value, nullptr) : 0;
}

/// What went wrong, as its thrower put it.
std::string CurrentErrorText() {
    try {
        throw;
    } catch (const cPelkitErrorIF& error) {
        return pelkit::TextOf(error);
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {
        return "an exception of an unknown type";
    }
}

}  // namespace

Recording::Recording(const RecordRequest& wanted, std::FILE* standardOutput)
    : request(wanted),
      log(folder.MakeFolder("home")),
      file(wanted, standardOutput),
      jsonOutput(standardOutput),
      output(wanted.json || wanted.print || file.IsStandardOutput() ? stderr : standardOutput),
      display(output, IsTerminal(output), !wanted.quiet && !wanted.print) {
    if (wanted.json && file.IsStandardOutput()) {
        throw UsageError("--json and this --output both want standard output: save into a file");
    }
    if (CaptureObserver* const stream = file.Observer()) follower.Add(*stream);
}

double Recording::Elapsed() const { return std::chrono::duration<double>(Clock::now() - begun).count(); }

std::optional<uint64_t> Recording::BytesLeft() const {
    if (!request.bytes) return std::nullopt;
    return *request.bytes - std::min(*request.bytes, result.bytes);
}

/// Without --seconds and --bytes only the user ends it.
std::optional<EndReason> Recording::EndReached(double elapsed, uint64_t captured) const {
    if (request.bytes && captured >= *request.bytes) return EndReason::Size;
    if (file.ReaderHasGone()) return EndReason::ReaderGone;
    if (file.StreamHasFailed()) return EndReason::OutputFull;
    if (InterruptRequested() || askedToEnd) return EndReason::Asked;
    if (request.seconds && elapsed >= *request.seconds) return EndReason::Time;
    return std::nullopt;
}

void Recording::ReadSettings(CChannelDriver& driver) {
    result.traceClock = NumberAttribute(driver, kClockAttribute);
    result.bitRate = NumberAttribute(driver, "Trace Data Frequency");
    const auto exact = log.Settings();
    // Another recording can share the log: its line is not taken for this one's.
    const bool fits =
        exact && std::abs(exact->traceClock - result.traceClock) <= result.traceClock * kSixDigits;
    if (!fits || std::abs(exact->baudRate - result.bitRate) > result.bitRate * kSixDigits + 1) return;
    result.traceClock = exact->traceClock;
    result.bitRate = exact->baudRate;
}

std::string Recording::CaptureFile() const {
    const char separator = KORR_PLIM::platform::PathSeparator();
    const size_t slash = request.cpu.find('/');
    const bool twoParts = slash != std::string::npos && request.cpu.find('/', slash + 1) == std::string::npos;
    const std::string shortName = twoParts ? request.cpu.substr(slash + 1) : request.cpu;
    return KORR_PLIM::platform::GetVariable(kFolderVariable) + separator + "data" + separator + "swotrace_" +
           shortName + ".bin";
}

/// Without the padding of the last sample; with it when the capture file cannot be asked.
uint64_t Recording::CapturedBytes(uint64_t padded) const {
    std::error_code failure;
    const uint64_t size = std::filesystem::file_size(CaptureFile(), failure);
    return failure ? padded : size;
}

void Recording::NoteFault(const CaptureFault& fault) {
    RecordedPart& part = result.parts.back();
    part.fault = fault.what;
    part.faultAt = Elapsed();
    part.portFault = fault.ofThePort;
    part.readError = fault.readError;
    result.reason = EndReason::Fault;
}

/// One part, until it shall end or has ended by itself. A fault counts more than the end of the time: what
/// should have come until then did not.
void Recording::Capture(CChannelDriver& driver) {
    RecordedPart& part = result.parts.emplace_back();
    part.captureFile = CaptureFile();
    part.begin = Elapsed();
    follower.Begin();
    file.LimitStream(BytesLeft());
    watch.emplace(log, port, part.captureFile, thread);
    RateMeter meter;
    double watchAt = 0;
    for (std::optional<EndReason> reason; !reason;) {
        const double seconds = Elapsed();
        const uint64_t captured = driver.GetNumSamples() * kSampleSize;
        const uint64_t bytes = result.bytes + captured;
        meter.Add(seconds, bytes);
        const double rate = meter.BytesPerSecond();
        display.Show(seconds, {bytes, rate, TimeLeft(request.seconds, request.bytes, seconds, bytes, rate),
                               note ? note() : std::string()});
        follower.Follow(driver, seconds);
        reason = EndReached(seconds, bytes);
        if (reason) result.reason = *reason;
        std::optional<CaptureFault> fault;
        if (reason) {
            fault = watch->LastLook(seconds, captured);
        } else if (seconds >= watchAt) {
            fault = watch->Look(seconds, captured);
            watchAt = seconds + kWatchPause;
        }
        if (fault && reason != EndReason::Size) {
            NoteFault(*fault);
            reason = EndReason::Fault;
        }
        if (!reason) std::this_thread::sleep_for(kPollPause);
    }
    display.Finish();
}

void Recording::StopAndSave(CChannelDriver& driver) {
    std::string stopError;
    try {
        driver.StopRecording();
    } catch (...) {
        stopError = CurrentErrorText();
    }
    if (result.reason != EndReason::Fault && result.reason != EndReason::Size) {
        if (const auto fault = watch->AfterStop(Elapsed())) NoteFault(*fault);
    }
    result.parts.back().end = result.seconds = Elapsed();
    if (signal) result.lostBytes = signal->End();
    try {
        Save(driver);
    } catch (...) {
        if (result.CutShort()) {
            std::fprintf(stderr, "tracehost: %s\n", KORR_PLIM::Visible(result.CutShortSentence()).Text());
        }
        ThrowNotSaved(stopError);
    }
    if (!stopError.empty()) {
        throw PluginError(stopError, "what was captured until then is saved in \"" + file.Name() + "\"");
    }
}

/// To be called where a saving failed: its own failures are not the plug-in's.
void Recording::ThrowNotSaved(const std::string& stopError) const {
    const std::string kept = "the bytes captured are still in \"" + CaptureFile() + "\"";
    const std::string text = CurrentErrorText();
    try {
        throw;
    } catch (const HostError&) {
        if (stopError.empty()) throw HostError(text + "; " + kept);
        throw PluginError(stopError, text + "\n" + kept);
    } catch (...) {
        const std::string explanation = Explain(text, Used());
        throw PluginError(stopError.empty() ? text : stopError + "\n" + text,
                          explanation + (explanation.empty() ? "" : "\n") + kept);
    }
}

/// A stream that takes no more cuts the recording short.
void Recording::NoteStreamFailure(const std::string& why) {
    RecordedPart& part = result.parts.back();
    if (part.fault.empty()) {
        part.faultAt = Elapsed();
    } else {
        part.fault += "; ";
    }
    part.fault += why + "; the bytes captured are still in \"" + part.captureFile + "\"";
    if (!result.CutShort()) result.reason = EndReason::OutputFull;
}

void Recording::Save(CChannelDriver& driver) {
    RecordedPart& part = result.parts.back();
    part.file = file.Name();
    const uint64_t padded = driver.GetNumSamples() * kSampleSize;
    const uint64_t captured = CapturedBytes(padded);
    const std::optional<uint64_t> most = BytesLeft();
    follower.Finish(driver, captured);
    file.Save(driver, padded, most);
    const std::string failure = file.FinishStream();
    if (!failure.empty()) NoteStreamFailure(failure);
    part.bytes = most ? std::min(*most, captured) : captured;
    result.bytes += part.bytes;
    if (afterPart) afterPart(result);
}

Surroundings Recording::Used() const {
    Surroundings used;
    used.port = port;
    if (!KORR_PLIM::platform::GetVariable(kFolderVariable).empty()) used.captureFile = CaptureFile();
    used.optionsFile = request.options;
    used.outputFile = file.Name();
    used.board = request.board;
    used.cpu = request.cpu;
    if (session) used.pluginFolder = std::filesystem::path(session->PluginFile()).parent_path().string();
    return used;
}

void Recording::Record() {
    CreateReceiver();
    file.KeepApartFrom(CaptureFile());
    RefuseIfInterrupted();
    CChannelDriver& driver = *session->Allocate(request.cpu.c_str(), kCpuId, session->NextChannel()).driver;
    PrepareOptions();
    driver.SetConfiguration(options.c_str());
    const auto knownClock = request.demo && !request.clock ? kDemoClock : AskedLineOf(options).clock;
    if (knownClock) ExplainRates(*knownClock);
    try {
        Start(driver);
    } catch (...) {
        foundClock = NumberAttribute(driver, kClockAttribute);
        throw;
    }
    ReadSettings(driver);
    do {
        Capture(driver);
        StopAndSave(driver);
    } while (ShallReconnect() && StartAgain(driver));
    session->Release(request.cpu);
    session->Destroy();
    if (!knownClock) ExplainRates(result.traceClock);
}

Conclusion Recording::Judge() const {
    Conclusion conclusion;
    if (result.CutShort()) conclusion.Add(kCutShort, result.CutShortSentence());
    if (result.lostBytes > 0) {
        conclusion.Add(kTraceLost, "trace was lost: the simulated probe had to drop " +
                                       std::to_string(result.lostBytes) +
                                       " bytes, because its port was not read in time");
    }
    if (result.TimesAway() > 0) conclusion.Add(kTraceLost, result.AwaySentence());
    return conclusion;
}

/// \return the exit status
int Recording::Conclude() {
    Conclusion conclusion = Judge();
    const bool summary = !request.json && !request.quiet;
    if (summary) PrintSummary(output, request, file, result);
    if (atEnd) atEnd(summary ? output : nullptr, conclusion);
    if (request.json) PrintJson(jsonOutput, ToJson(request, file, result, conclusion));
    std::fflush(output);
    for (const std::string& problem : conclusion.problems) {  // told also when nobody reads the summary
        std::fprintf(stderr, "tracehost: %s\n", KORR_PLIM::Visible(problem).Text());
    }
    if (request.json) FinishStandardOutput(jsonOutput);
    FinishStandardOutput(output);
    return conclusion.status;
}

int Recording::Run() {
    CatchInterrupts();
    file.Prepare();
    PrepareBoard();
    session.emplace(request.plugin);
    const std::string plugin = session->PluginFile();
    result.plugin = std::filesystem::path(plugin).filename().string() + " " + VersionIn(plugin);
    try {
        Record();
    } catch (const HostError&) {
        display.Finish();
        throw;
    } catch (...) {
        display.Finish();
        const std::string text = CurrentErrorText();
        const std::string further = Explain(text, Used());
        ExplainFailure();
        throw PluginError(text, further);
    }
    return Conclude();
}

}  // namespace Korr::Plim::Trace::Tracehost
