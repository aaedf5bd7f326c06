// usage: idle_port MILLISECONDS ROUNDS
//
// A capture on a port without data, MILLISECONDS long: the share of a core that its thread takes, and how
// long after the stop it has ended. Prints one JSON line.

#include <fcntl.h>
#include <stdlib.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <thread>

#include "source_utilities/uThread.h"
#include "uart/UARTDataCollector.h"

namespace {

using Korr::Plim::Trace::Tarnel::UARTDataCollector;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kPort = 61;

struct Round {
    double coreShare;
    double stopMilliseconds;
};

double MillisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// CPU time of the whole process in ms. The other thread sleeps while it is looked at.
double CpuTime() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

std::string MakeTerminal() {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) return {};
    const std::string device = ptsname(master);
    const int slave =
        open(device.c_str(), O_RDWR | O_NOCTTY);  // stays open, so that the line keeps its settings
    termios settings{};
    if (slave < 0 || tcgetattr(slave, &settings) != 0) return {};
    cfmakeraw(&settings);
    return tcsetattr(slave, TCSANOW, &settings) == 0 ? device : std::string();
}

// False when the capture could not be started or ended by itself.
bool Measure(const std::string& output, std::chrono::milliseconds length, Round& round) {
    uint32_t prescaler = 0;
    UARTDataCollector collector(kPort, 115200, false, prescaler, output, false);
    KORR_PLIM::uThread thread(&collector);
    if (!thread.Start()) return false;
    const double before = CpuTime();
    const auto start = Clock::now();
    std::this_thread::sleep_for(length);
    round.coreShare = (CpuTime() - before) / MillisecondsSince(start);
    const bool alive = !collector.IsFinished();
    const auto stopped = Clock::now();
    collector.Stop();
    while (!collector.IsFinished()) KORR_PLIM::uThread::Yield();
    round.stopMilliseconds = MillisecondsSince(stopped);
    return alive;
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) return 2;
    const std::chrono::milliseconds length(strtoul(arguments[1], nullptr, 10));
    const uint64_t rounds = strtoull(arguments[2], nullptr, 10);
    const std::string device = MakeTerminal();
    if (device.empty()) return 1;
    setenv("KORR_TRACE_COM61", device.c_str(), 1);
    std::printf("{\"rounds\": [");
    for (uint64_t i = 0; i < rounds; ++i) {
        Round round{};
        if (!Measure("/dev/null", length, round)) return 1;
        std::printf("%s{\"core_share\": %.6f, \"stop_ms\": %.6f}", i == 0 ? "" : ", ", round.coreShare,
                    round.stopMilliseconds);
    }
    std::printf("]}\n");
    return 0;
}
