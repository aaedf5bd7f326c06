// usage: capture_run CLOCK_HZ OUTPUT_PREFIX PORT...
//
// Records from COM ports until the end of standard input, one collector on its own thread for each, into the
// files OUTPUT_PREFIX<PORT>.bin. Prints "ready" once all of them run.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "host_api/cPelkitError.h"
#include "source_utilities/uThread.h"
#include "uart/UARTDataCollector.h"

namespace {

using Korr::Plim::Trace::Tarnel::UARTDataCollector;

class Recording {
  public:
    Recording(uint32_t port, double clock, const std::string& prefix)
        : collector(port, clock, false, prescaler, prefix + std::to_string(port) + ".bin", false),
          thread(&collector) {}
    bool Start() { return thread.Start(); }
    void Stop() { collector.Stop(); }
    void AwaitEnd() const {
        while (!collector.IsFinished()) KORR_PLIM::uThread::Yield();
    }

  private:
    uint32_t prescaler = 0;
    UARTDataCollector collector;
    KORR_PLIM::uThread thread;
};

int Record(int count, char** arguments) {
    std::vector<std::unique_ptr<Recording>> recordings;
    for (int i = 3; i < count; ++i) {
        const auto port = static_cast<uint32_t>(std::strtoul(arguments[i], nullptr, 10));
        recordings.push_back(
            std::make_unique<Recording>(port, std::strtod(arguments[1], nullptr), arguments[2]));
    }
    bool started = true;
    for (const auto& recording : recordings) started = recording->Start() && started;
    std::puts(started ? "ready" : "a thread did not start");
    std::fflush(stdout);
    for (std::string ignored; std::getline(std::cin, ignored);) {
    }
    for (const auto& recording : recordings) recording->Stop();
    for (const auto& recording : recordings) recording->AwaitEnd();
    return started ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 4) {
        std::fputs("usage: capture_run CLOCK_HZ OUTPUT_PREFIX PORT...\n", stderr);
        return 2;
    }
    try {
        return Record(count, arguments);
    } catch (const cPelkitError&) {
        std::puts("a collector refused");
        return 1;
    }
}
