#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace fault_tests {

/// Ends the process with whether the test has failed; why goes to standard error, which the parent shows.
[[noreturn]] inline void EndWithResult() {
    const testing::TestResult& result = *testing::UnitTest::GetInstance()->current_test_info()->result();
    for (int i = 0; i < result.total_part_count(); ++i) {
        std::fprintf(stderr, "%s\n", result.GetTestPartResult(i).message());
    }
    std::exit(result.Failed() ? 1 : 0);
}

/// Runs an action in a process of its own, which begins with the calling test; the test fails when an
/// expectation of the action does.
template <typename Action>
void RunInFreshProcess(Action action) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            action();
            EndWithResult();
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace fault_tests
