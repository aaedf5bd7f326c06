#include "tracehost/recording.h"
#include "simulator/pelkit/error_reading.h"

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "host_api/cPelkitError.h"
#include "simulator/board/board_file.h"
#include "source_utilities/environment_variables.h"
#include "source_utilities/file_system.h"
#include "tracehost/errors.h"
#include "tracehost/interrupt.h"
#include "tracehost/own_board.h"
#include "tracehost/progress.h"
#include "tracehost/record_options.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr uint64_t kSampleSize = 8;
constexpr auto kPollPause = std::chrono::milliseconds(20);
constexpr uint32_t kCpuId = 0;
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

Recording::Recording(const RecordRequest& wanted, std::FILE* outputStream)
    : request(wanted), output(outputStream), file(wanted) {}

void Recording::RefuseIfInterrupted() const {
    if (InterruptRequested()) throw HostError("interrupted before the recording began: nothing was captured");
}

void Recording::PrepareBoard() {
    if (request.demo) {
        request.board = WriteDemoBoard(folder);
        signal.emplace(request.board, folder.Path("port"));
        request.port = signal->PortNumber();
    } else if (request.board.empty()) {
        if (!EnvironmentNamesBoard()) RefuseUnknownTarget(request);
        request.board = DefaultBoard(folder);
    }
    CheckBoard(request.board);
    SetProcessVariable(Simulator::kBoardVariable, request.board.c_str());
}

void Recording::PrepareOptions() {
    optionsInUse = request.options;
    if (!optionsInUse.empty()) return;
    optionsInUse = folder.Path("options.xml");
    WriteOptionsFile(request, optionsInUse);
}

void Recording::Start(CChannelDriver& driver) {
    PrepareOptions();
    driver.SetConfiguration(optionsInUse.c_str());
    RefuseIfInterrupted();
    driver.StartRecording(0);
    StatusRecord status;
    driver.GetStatus(status);
    if (status.code == kStatusRecording) return;
    throw HostError("the plug-in did not start to record; its status is \"" + std::string(status.text) +
                    "\"");
}

bool Recording::EndReached(double elapsed, uint64_t captured) const {
    return InterruptRequested() || (request.seconds && elapsed >= *request.seconds) ||
           (request.bytes && captured >= *request.bytes);
}

void Recording::WaitForEnd(CChannelDriver& driver) {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    ProgressDisplay display(output, IsTerminal(output));
    RateMeter meter;
    while (true) {
        seconds = std::chrono::duration<double>(Clock::now() - start).count();
        bytes = driver.GetNumSamples() * kSampleSize;
        meter.Add(seconds, bytes);
        const double rate = meter.BytesPerSecond();
        display.Show(seconds, {bytes, rate, TimeLeft(request.seconds, request.bytes, seconds, bytes, rate)});
        if (EndReached(seconds, bytes)) break;
        std::this_thread::sleep_for(kPollPause);
    }
    display.Finish();
}

void Recording::ReadSettings(CChannelDriver& driver) {
    traceClock = NumberAttribute(driver, "Timing Clock Frequency");
    bitRate = NumberAttribute(driver, "Trace Data Frequency");
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

void Recording::StopAndSave(CChannelDriver& driver) {
    std::string stopError;
    try {
        driver.StopRecording();
    } catch (...) {
        stopError = CurrentErrorText();
    }
    signal.reset();
    const uint64_t padded = driver.GetNumSamples() * kSampleSize;
    bytes = CapturedBytes(padded);
    try {
        driver.SaveFile(file.Name().c_str(), file.Format());
        file.CheckSaved(padded);
    } catch (...) {
        const std::string why =
            stopError.empty() ? CurrentErrorText() : stopError + "\n" + CurrentErrorText();
        const std::string explanation = Explain(CurrentErrorText(), Used());
        throw PluginError(why, explanation + (explanation.empty() ? "" : "\n") +
                                   "the bytes captured are still in \"" + CaptureFile() + "\"");
    }
    if (!stopError.empty()) {
        throw PluginError(stopError, "what was captured until then is saved in \"" + file.Name() + "\"");
    }
}

void Recording::PrintSummary() const {
    std::fprintf(output, "\nRecorded %llu bytes in %.1f s (%s/s)\n", static_cast<unsigned long long>(bytes),
                 seconds, FormatBytes(seconds > 0 ? static_cast<double>(bytes) / seconds : 0).c_str());
    std::fprintf(output, "  CPU           %s\n", request.cpu.c_str());
    std::fprintf(output, "  trace clock   %.6g MHz\n", traceClock / 1e6);
    std::fprintf(output, "  prescaler     %.0f\n", bitRate > 0 ? std::round(traceClock / bitRate) - 1 : 0.0);
    std::fprintf(output, "  baud rate     %.0f\n", bitRate);
    std::fprintf(output, "  capture file  %s\n", CaptureFile().c_str());
    std::fprintf(output, "  saved         %s (%s)\n", file.Name().c_str(),
                 file.Raw() ? "raw" : "TDF, section \"BinTraceData\"");
    if (bytes == 0) {
        std::fprintf(output,
                     "Nothing was received: does the target run, is its SWO pin switched on and connected, "
                     "and do trace clock and prescaler fit?\n");
    }
    FinishStandardOutput(output);
}

Surroundings Recording::Used() const {
    Surroundings used;
    used.port = PortOf(optionsInUse);
    if (!KORR_PLIM::platform::GetVariable(kFolderVariable).empty()) used.captureFile = CaptureFile();
    used.optionsFile = request.options;
    used.outputFile = file.Name();
    used.board = request.board;
    used.cpu = request.cpu;
    if (session) used.pluginFolder = std::filesystem::path(session->PluginFile()).parent_path().string();
    return used;
}

void Recording::Record() {
    session->Create();
    RefuseIfInterrupted();
    CChannelDriver& driver = *session->Allocate(request.cpu.c_str(), kCpuId, session->NextChannel()).driver;
    Start(driver);
    ReadSettings(driver);
    WaitForEnd(driver);
    StopAndSave(driver);
    session->Release(request.cpu);
    session->Destroy();
}

void Recording::Run() {
    CatchInterrupts();
    PrepareBoard();
    file.Prepare();
    session.emplace(request.plugin);
    try {
        Record();
    } catch (const HostError&) {
        throw;
    } catch (...) {
        const std::string text = CurrentErrorText();
        throw PluginError(text, Explain(text, Used()));
    }
    PrintSummary();
}

}  // namespace Korr::Plim::Trace::Tracehost
