#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <iostream>
#include <memory>
#include <thread>

#include "simulator/swosource/file_stream.h"
#include "simulator/swosource/player.h"
#include "simulator/swosource/real_time.h"
#include "simulator/swosource/settings.h"
#include "simulator/swosource/signal/counter_pattern.h"
#include "simulator/swosource/signal/itm_pattern.h"

namespace {

using namespace Korr::Plim::Trace::Simulator;

constexpr int kNothingLost = 0;
constexpr int kFailure = 1;
constexpr int kBytesDropped = 3;

std::atomic<bool> stopRequested{false};

void RequestStop(int) { stopRequested = true; }

void StopOnSignals() {
    struct sigaction action {};
    action.sa_handler = RequestStop;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGHUP, &action, nullptr);
}

/// Asks for the stop when standard input has ended, on a thread of its own that lives as long as the program.
void StopWithInput() {
    std::thread([] {
        char ignored = 0;
        for (ssize_t got = 1; got > 0 || (got < 0 && errno == EINTR);) got = read(STDIN_FILENO, &ignored, 1);
        stopRequested = true;
    }).detach();
}

std::unique_ptr<ByteSource> MakeSource(const Settings& settings) {
    if (!settings.stream.empty()) return std::make_unique<FileStream>(settings.stream);
    if (settings.pattern == "counter") return std::make_unique<CounterPattern>();
    return std::make_unique<ItmPattern>();
}

void WriteReport(const std::string& path, const nlohmann::ordered_json& report) {
    if (path.empty()) return;
    if (path == "-") {
        std::cout << report.dump(2) << std::endl;
        return;
    }
    std::ofstream file(path, std::ios::trunc);
    file << report.dump(2) << std::endl;
    if (!file) throw std::runtime_error(path + ": cannot be written");
}

int Run(const Settings& settings) {
    const auto source = MakeSource(settings);
    const bool realTime = AskForRealTime();
    if (settings.whileInput) StopWithInput();
    StopOnSignals();  // first: a session that has made its link also removes it
    Player player(settings, *source);
    player.Play(stopRequested);
    auto report = player.Report();
    report["real_time"] = realTime;
    WriteReport(settings.report, report);
    if (player.LostBytes() == 0) return kNothingLost;
    std::cerr << "swosource: " << player.LostBytes() << " of " << report["sent"] << " bytes were dropped\n";
    return kBytesDropped;
}

}  // namespace

int main(int argc, char** argv) {
    int status = 0;
    const auto settings = ReadSettings(argc, argv, status);
    if (!settings) return status;
    try {
        return Run(*settings);
    } catch (const std::exception& error) {
        std::cerr << "swosource: " << error.what() << "\n";
        return kFailure;
    }
}
