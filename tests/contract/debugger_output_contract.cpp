#include <gtest/gtest.h>

#include "source_utilities/debugger_output.h"

namespace {

// Whether a debugger listens or not, the caller goes on; nothing goes to standard output.
TEST(DebuggerOutputContract, NothingReachesStandardOutput) {
    testing::internal::CaptureStdout();
    KORR_PLIM::platform::WriteToDebugger("a line\n");
    KORR_PLIM::platform::WriteToDebugger("");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

}  // namespace
