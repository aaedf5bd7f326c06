#include "tests/unit/uart/collector_fixture.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

// The process's log is opened once, so this test has a program of its own.

TEST(UARTDataCollectorWithoutAHome, WorksWithoutALogAndSetsTheTraceEnvironmentUpWithTheNextCollector) {
    KORR_PLIM::SetEnvironment("USERPROFILE", "");
    KORR_PLIM::SetEnvironment("HOME", "");
    KORR_PLIM::SetEnvironment("KORR_TRACE_LOGGING_DIR", "untouched");
    fakes::ScriptedPorts::Plug(5);
    uint32_t prescaler = 24;
    { const UARTDataCollector collector(5, 48e6, false, prescaler, "capture.bin", false); }
    EXPECT_STREQ(KORR_PLIM::GetEnvironment("KORR_TRACE_LOGGING_DIR"), "untouched");

    const LogHome home("0");
    fakes::ScriptedPorts::Plug(5);
    const UARTDataCollector next(5, 48e6, false, prescaler, "capture.bin", false);
    EXPECT_EQ(KORR_PLIM::GetEnvironment("KORR_TRACE_LOGGING_DIR"), (home.Path() / ".KORR-trace").string());
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tarnel
