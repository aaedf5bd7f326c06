// Collectors of several CPUs that are made at once. The linker puts the function of this program in the place
// of KORR_PLIM::SetUpTraceEnvironment, under its mangled name.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "source_utilities/trace_environment.h"
#include "tests/unit/uart/collector_fixture.h"

namespace {

std::atomic<int> inside{0};
std::atomic<int> mostInside{0};

}  // namespace

void SlowSetUp(KORR_PLIM::TraceEnvironment& environment) __asm__("__wrap_" SET_UP_TRACE_ENVIRONMENT);

void SlowSetUp(KORR_PLIM::TraceEnvironment& /*environment*/) {
    mostInside = std::max<int>(mostInside, ++inside);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    --inside;
}

namespace Korr::Plim::Trace::Tarnel {

namespace {

TEST(UARTDataCollectorsAtOnce, SetTheTraceEnvironmentUpOneAfterTheOther) {
    const auto make = [](uint32_t port) {
        uint32_t prescaler = 24;
        const UARTDataCollector collector(port, 48e6, false, prescaler,
                                          "capture" + std::to_string(port) + ".bin", false);
    };
    fakes::ScriptedPorts::Plug(5);
    fakes::ScriptedPorts::Plug(6);
    std::thread other(make, 6);
    make(5);
    other.join();
    EXPECT_EQ(mostInside, 1);
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tarnel
