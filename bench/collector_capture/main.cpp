#include <chrono>
#include <csignal>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <thread>
#include <vector>

#include "bench/collector_capture/cpu_time.h"
#include "bench/collector_capture/read_counter.h"
#include "bench/collector_capture/settings.h"
#include "host_api/cPelkitError.h"
#include "simulator/pelkit/error_reading.h"
#include "simulator/swosource/signal/counter_verifier.h"
#include "source_utilities/uThread.h"
#include "uart/UARTDataCollector.h"
#include "uart/prescaler_calibration.h"

namespace {

using Json = nlohmann::ordered_json;
using Clock = std::chrono::steady_clock;
using Korr::Plim::Trace::Simulator::CounterVerifier;
using Korr::Plim::Trace::Tarnel::UARTDataCollector;

constexpr int kCaptured = 0;
constexpr int kFailure = 1;
constexpr int kStreamEnded = 4;
constexpr auto kLookEvery = std::chrono::milliseconds(5);

volatile std::sig_atomic_t stopRequested = 0;

void RequestStop(int) { stopRequested = 1; }

double SecondsSince(Clock::time_point time) {
    return std::chrono::duration<double>(Clock::now() - time).count();
}

void PrintLine(const Json& json) { std::cout << json.dump() << std::endl; }

/// Why the capture was ended.
enum class End { kFull, kStopped, kPortGone, kSilence, kNotWritten };

const char* Name(End end) {
    switch (end) {
        case End::kFull:
            return "full";
        case End::kStopped:
            return "stopped";
        case End::kPortGone:
            return "port gone";
        case End::kSilence:
            return "nothing came any more";
        case End::kNotWritten:
            return "the capture file did not take all";
    }
    return "";
}

End WaitForEnd(const UARTDataCollector& collector, const Settings& settings) {
    const auto start = Clock::now();
    auto lastArrival = start;
    uint64_t before = 0;
    for (;;) {
        const bool gone = collector.IsFinished();
        const uint64_t bytes = CountedReads().bytes;
        if (settings.bytes && bytes >= *settings.bytes) return End::kFull;
        if (settings.seconds && SecondsSince(start) >= *settings.seconds) return End::kFull;
        if (gone) return End::kPortGone;
        if (stopRequested != 0) return End::kStopped;
        if (bytes != before) lastArrival = Clock::now();
        before = bytes;
        if (!settings.seconds && SecondsSince(lastArrival) >= settings.patience) return End::kSilence;
        std::this_thread::sleep_for(kLookEvery);
    }
}

uint64_t FileSize(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    return file ? static_cast<uint64_t>(file.tellg()) : 0;
}

Json VerifyCounter(const std::string& path) {
    CounterVerifier verifier;
    std::ifstream file(path, std::ios::binary);
    std::vector<char> piece(1 << 16);
    while (file.read(piece.data(), static_cast<std::streamsize>(piece.size())), file.gcount() > 0) {
        verifier.Feed(reinterpret_cast<const uint8_t*>(piece.data()), static_cast<size_t>(file.gcount()));
    }
    verifier.Finish();
    return {{"lost", verifier.Lost()},
            {"doubled", verifier.Doubled()},
            {"changed", verifier.Changed()},
            {"faults", verifier.Faults()}};
}

End Capture(const Settings& settings, uint32_t& prescaler, double& seconds) {
    UARTDataCollector collector(settings.port, settings.clock, settings.autoPrescaler, prescaler,
                                settings.output, false);
    BeginCounting();
    KORR_PLIM::uThread thread(&collector, settings.priority);
    if (!thread.Start()) throw std::runtime_error("the capture thread could not be started");
    PrintLine({{"ready", true},
               {"prescaler", prescaler},
               {"baud", Korr::Plim::Trace::Tarnel::TruncateRate(settings.clock / (prescaler + 1.0))}});
    const auto start = Clock::now();
    const End end = WaitForEnd(collector, settings);
    collector.Stop();
    while (!collector.IsFinished()) KORR_PLIM::uThread::Yield();
    seconds = SecondsSince(start);
    return end;
}

int Run(const Settings& settings) {
    uint32_t prescaler = settings.prescaler;
    double seconds = 0;
    if (settings.polling) Poll();
    if (settings.pauseAfter) StandStillAfter(*settings.pauseAfter, settings.pauseMilliseconds);
    End end = Capture(settings, prescaler, seconds);
    const ReadCounts counts = CountedReads();
    const uint64_t captured = FileSize(settings.output);
    if (captured < counts.bytes) end = End::kNotWritten;
    Json report = {{"bytes", captured},
                   {"reads", counts.reads},
                   {"empty_reads", counts.emptyReads},
                   {"cpu_seconds", ProcessCpuSeconds()},
                   {"seconds", seconds},
                   {"receiving_seconds", counts.secondsReceiving},
                   {"prescaler", prescaler},
                   {"baud", Korr::Plim::Trace::Tarnel::TruncateRate(settings.clock / (prescaler + 1.0))},
                   {"end", Name(end)}};
    if (settings.verifyCounter) report["counter"] = VerifyCounter(settings.output);
    PrintLine(report);
    const bool limited = settings.bytes || settings.seconds;
    if (end == End::kFull || (!limited && end != End::kNotWritten)) return kCaptured;
    std::cerr << "collector_capture: the stream ended early (" << Name(end) << ") after " << report["bytes"]
              << " bytes\n";
    return kStreamEnded;
}

}  // namespace

int main(int argc, char** argv) {
    int status = 0;
    const auto settings = ReadSettings(argc, argv, status);
    if (!settings) return status;
    std::signal(SIGINT, RequestStop);
    std::signal(SIGTERM, RequestStop);
    try {
        return Run(*settings);
    } catch (const cPelkitErrorIF& error) {
        std::cerr << "collector_capture: " << pelkit::TextOf(error) << std::endl;
    } catch (const std::exception& error) {
        std::cerr << "collector_capture: " << error.what() << std::endl;
    }
    return kFailure;
}
