// usage: empty_polls POLLS ROUNDS
//
// The capture loop on a port without data: its CPU time per turn beside that of a bare non-blocking read of
// the same pseudo-terminal, taken in turn. Prints one JSON line. The read call of the serial port's body is
// wrapped at link time (--wrap=read), only to count the turns and to stop the collector after POLLS of them.

#include <fcntl.h>
#include <stdlib.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string>

#include "uart/UARTDataCollector.h"

using Korr::Plim::Trace::Tarnel::UARTDataCollector;

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
extern "C" ssize_t __real_read(int file, void* buffer, size_t size);

namespace {

constexpr uint32_t kPort = 61;

uint64_t turnsLeft = 0;
UARTDataCollector* measured = nullptr;

}  // namespace

extern "C" ssize_t __wrap_read(int file, void* buffer, size_t size) {
    if (measured != nullptr && --turnsLeft == 0) measured->Stop();
    return __real_read(file, buffer, size);
}

namespace {

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

// CPU time of this thread in ns: what others do on the machine is not counted.
double CpuTime() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

double TimePerPoll(double start, uint64_t polls) { return (CpuTime() - start) / static_cast<double>(polls); }

double CollectorPoll(const std::string& output, uint64_t polls) {
    uint32_t prescaler = 0;
    UARTDataCollector collector(kPort, 115200, false, prescaler, output, false);
    turnsLeft = polls;
    measured = &collector;
    const double start = CpuTime();
    collector.Run();
    const double time = TimePerPoll(start, polls);
    measured = nullptr;
    return time;
}

// Every read must find nothing: 0 otherwise.
double BarePoll(int port, uint64_t polls) {
    char buffer[100];
    const double start = CpuTime();
    for (uint64_t i = 0; i < polls; ++i) {
        if (__real_read(port, buffer, sizeof buffer) != -1 || errno != EAGAIN) return 0;
    }
    return TimePerPoll(start, polls);
}

}  // namespace
// NOLINTEND(bugprone-reserved-identifier)

int main(int count, char** arguments) {
    if (count != 3) return 2;
    const uint64_t polls = strtoull(arguments[1], nullptr, 10);
    const uint64_t rounds = strtoull(arguments[2], nullptr, 10);
    const std::string device = MakeTerminal();
    if (polls == 0 || device.empty()) return 1;
    setenv("KORR_TRACE_COM61", device.c_str(), 1);
    const int bare = open(device.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK);
    std::printf("{\"rounds\": [");
    for (uint64_t round = 0; round < rounds; ++round) {
        const double collector = CollectorPoll("/dev/null", polls);
        const double plain = BarePoll(bare, polls);
        if (plain == 0 || turnsLeft != 0) return 1;
        std::printf("%s{\"collector\": {\"ns\": %.3f}, \"bare\": {\"ns\": %.3f}}", round == 0 ? "" : ", ",
                    collector, plain);
    }
    std::printf("]}\n");
    return 0;
}
