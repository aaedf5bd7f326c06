// The part of Recording that comes before the first byte, and between the parts of a recording.
#include <thread>

#include "host_api/cPelkitError.h"
#include "simulator/board/board_file.h"
#include "simulator/pelkit/error_reading.h"
#include "source_utilities/visible_text.h"
#include "tracehost/errors.h"
#include "tracehost/interrupt.h"
#include "tracehost/number_option.h"
#include "tracehost/own_board.h"
#include "tracehost/port_presence.h"
#include "tracehost/rate_table.h"
#include "tracehost/record_options.h"
#include "tracehost/recording.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr auto kTryPause = std::chrono::milliseconds(100);

/// The plug-in's refusal of a port that it cannot open.
bool IsPortRefusal(const std::string& text) { return text == "Failed to open COM port"; }

/// The prescaler that a search takes; absent when it was in vain.
std::optional<uint32_t> Taken(const std::vector<RateRow>& rows) {
    if (rows.empty() || !EndsSearch(rows.back())) return std::nullopt;
    return rows.back().prescaler;
}

}  // namespace

void Recording::RefuseIfInterrupted() const {
    if (InterruptRequested()) throw HostError("interrupted before the recording began: nothing was captured");
}

void Recording::PrepareBoard() {
    if (request.demo) {
        request.board = WriteDemoBoard(folder);
        signal.emplace(request.board, folder.Path(""));
        request.port = signal->PortNumber();
    } else if (request.board.empty()) {
        if (!EnvironmentNamesBoard()) RefuseUnknownTarget(request);
        request.board = DefaultBoard(folder);
    }
    CheckBoard(request.board);
    SetProcessVariable(Simulator::kBoardVariable, request.board.c_str());
}

/// The host's closed libraries are asked for a home's log only once.
void Recording::CreateReceiver() {
    log.BeforeTheReceiver();
    try {
        session->Create();
    } catch (...) {
        log.AfterTheReceiver();
        throw;
    }
    log.AfterTheReceiver();
}

bool Recording::MayStillWait() const {
    RefuseIfInterrupted();
    return request.waitForPort && Elapsed() < *request.waitForPort;
}

void Recording::RefuseToWaitOn(const std::string& wanted, double seconds) {
    display.Finish();
    throw HostError(wanted + " did not come within " + FormatDuration(seconds) +
                    ": is the probe plugged in? \"tracehost ports\" lists what is there");
}

/// Without a port in the request the first that a probe brings is taken.
void Recording::PrepareOptions() {
    begun = Clock::now();
    options = request.options.empty() ? folder.Path("options.xml") : request.options;
    for (bool written = !request.options.empty(); !written;) {
        try {
            WriteOptionsFile(request, options);
            written = true;
        } catch (const UsageError&) {
            if (!request.waitForPort) throw;
            if (!MayStillWait()) RefuseToWaitOn("the COM port of a probe", *request.waitForPort);
            display.ShowText(Elapsed(), "waiting for the COM port of a probe");
            std::this_thread::sleep_for(kTryPause);
        }
    }
    port = PortOf(options);
    AwaitPort();
}

void Recording::AwaitPort() {
    while (request.waitForPort && port && PortIdentity(*port).empty()) {
        if (!MayStillWait()) RefuseToWaitOn(PortName(*port), *request.waitForPort);
        display.ShowText(Elapsed(), "waiting for " + PortName(*port));
        std::this_thread::sleep_for(kTryPause);
    }
    display.Finish();
}

/// What the receiver's search asks is asked once more, because the receiver does not tell it: before the
/// recording when the clock is known, else when the port is free again.
void Recording::ExplainRates(double clock) {
    if (!request.explain || !port) return;
    const AskedLine line = AskedLineOf(options);
    try {
        if (!(clock > 0)) throw HostError("the trace clock is not known");
        result.rates = line.prescaler ? AskRates(*port, clock, *line.prescaler, *line.prescaler)
                                      : SearchRates(*port, clock);
        if (request.json) return;
        std::fprintf(output, "%s at a trace clock of %s MHz, prescaler %s:\n%s\n",
                     KORR_PLIM::Visible(PortName(*port)).Text(), FormatExact(clock / 1e6).c_str(),
                     line.prescaler ? "as given" : "searched",
                     line.prescaler ? FormatRates(result.rates).c_str()
                                    : FormatSearch(result.rates, Taken(result.rates)).c_str());
        std::fflush(output);
    } catch (const HostError& error) {
        std::fprintf(stderr, "tracehost: --explain: no rates can be shown: %s\n",
                     KORR_PLIM::Visible(error.what()).Text());
    }
}

/// A search in vain leaves the port open: the receiver has to go before the port can be asked.
void Recording::ExplainFailure() {
    if (!request.explain || !result.rates.empty() || !session) return;
    try {
        session->Release(request.cpu);
        session->Destroy();
    } catch (...) {
        return;  // why the recording failed is told already
    }
    ExplainRates(foundClock);
}

void Recording::StartDriver(CChannelDriver& driver) {
    thread.BeforeStart();
    driver.StartRecording(0);
    thread.AfterStart();
}

/// A port that has just come may not be ready to be opened, or not by this user yet.
void Recording::Start(CChannelDriver& driver) {
    for (bool started = false; !started;) {
        RefuseIfInterrupted();
        try {
            StartDriver(driver);
            started = true;
        } catch (const cPelkitErrorIF& error) {
            if (!IsPortRefusal(pelkit::TextOf(error)) || !MayStillWait()) throw;
            display.ShowText(Elapsed(), "waiting for " + (port ? PortName(*port) : "the COM port") +
                                            ", which cannot be opened yet");
            std::this_thread::sleep_for(kTryPause);
        }
    }
    display.Finish();
    begun = Clock::now();
    result.started = std::chrono::system_clock::now();
    StatusRecord status;
    driver.GetStatus(status);
    if (status.code == kStatusRecording) return;
    throw HostError("the plug-in did not start to record; its status is \"" + std::string(status.text) +
                    "\"");
}

bool Recording::ShallReconnect() const {
    return request.reconnect && result.CutShort() && result.parts.back().portFault && port;
}

/// What was asked for is long under way: a refusal is no wrong usage any more.
void Recording::NextOutput() {
    const std::string saved = file.Name();
    try {
        file.NextPart();
    } catch (const UsageError& error) {
        throw HostError(error.what() + ("; what was captured until then is saved in \"" + saved + "\""));
    }
}

/// \return false when the recording ended before the port came back
bool Recording::StartAgain(CChannelDriver& driver) {
    NextOutput();
    while (true) {
        if (const auto reason = EndReached(Elapsed(), result.bytes)) {
            result.reason = *reason;
            result.seconds = Elapsed();
            display.Finish();
            return false;
        }
        display.ShowText(Elapsed(), "waiting for " + PortName(*port) + " to come back");
        try {
            if (!PortIdentity(*port).empty()) {
                log.NewErrors();  // of the old port's end
                StartDriver(driver);
                display.Finish();
                return true;
            }
        } catch (const cPelkitErrorIF& error) {
            if (!IsPortRefusal(pelkit::TextOf(error))) throw;
        }
        std::this_thread::sleep_for(kTryPause);
    }
}

}  // namespace Korr::Plim::Trace::Tracehost
