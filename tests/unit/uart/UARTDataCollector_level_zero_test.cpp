#include "tests/unit/uart/collector_fixture.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

// The process's log is opened once, so this test has a program of its own.

TEST(UARTDataCollectorAtLevelZero, LogsNothing) {
    const LogHome home("0");
    fakes::ScriptedPort& port = fakes::ScriptedPorts::Plug(5);
    port.rateTaken = [](uint32_t asked) { return std::min(asked, 3000000U); };
    fakes::ScriptedCalls& calls = fakes::ScriptedCalls::Instance();
    uint32_t prescaler = 0;
    {
        UARTDataCollector collector(5, 48e6, true, prescaler, "capture.bin", true);
        for (const char* call : {"port.Read", "port.SetBreak", "port.Purge", "port.SetState", "port.Close"}) {
            calls.Fail(call, 31);
        }
        collector.Run();
        EXPECT_TRUE(collector.IsFinished());
    }
    EXPECT_THROW(UARTDataCollector(9, 48e6, true, prescaler, "capture.bin", true), cPelkitError);
    EXPECT_EQ(prescaler, 15U);
    EXPECT_EQ(home.Lines(), std::vector<std::string>());
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tarnel
