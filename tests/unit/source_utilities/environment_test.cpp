#include "source_utilities/environment.h"

#include <gtest/gtest.h>

#include <thread>

#include "source_utilities/source_utilities_error.h"
#include "tests/fakes/scripted_environment_variables.h"

namespace {

using namespace KORR_PLIM;
namespace variables = fakes::environment_variables;

class EnvironmentTest : public testing::Test {
  protected:
    EnvironmentTest() { variables::Reset(); }
};

template <typename Call>
std::string MessageOf(Call call) {
    try {
        call();
    } catch (const source_utilities_error& failure) {
        return failure.what();
    }
    return "nothing thrown";
}

TEST_F(EnvironmentTest, UnsetVariableIsEmpty) { EXPECT_STREQ(GetEnvironment("KORR_NONE"), ""); }
TEST_F(EnvironmentTest, SetVariableIsRead) {
    SetEnvironment("KORR_A", "value");
    EXPECT_STREQ(GetEnvironment("KORR_A"), "value");
    SetEnvironment("KORR_A", "");
    EXPECT_STREQ(GetEnvironment("KORR_A"), "");
}
TEST_F(EnvironmentTest, NullNamesThrow) {
    EXPECT_EQ(MessageOf([] { GetEnvironment(nullptr); }), "failed set an environment variable name to null");
    EXPECT_EQ(MessageOf([] { SetEnvironment(nullptr, "a"); }),
              "failed set an environment variable name to null");
}
TEST_F(EnvironmentTest, NullValueThrows) {
    EXPECT_EQ(MessageOf([] { SetEnvironment("KORR_A", nullptr); }),
              "failed set an environment variable value to null");
}
TEST_F(EnvironmentTest, RefusedSetThrows) {
    variables::Script().Fail("SetVariable");
    EXPECT_EQ(MessageOf([] { SetEnvironment("KORR_A", "b"); }),
              "failed to set environment variable \"KORR_A\"");
}
TEST_F(EnvironmentTest, ResultsAreKeptPerThread) {
    variables::Put("KORR_A", "first");
    variables::Put("KORR_B", "second");
    const char* mine = GetEnvironment("KORR_A");
    std::thread([] { EXPECT_STREQ(GetEnvironment("KORR_B"), "second"); }).join();
    EXPECT_STREQ(mine, "first");
    const char* next = GetEnvironment("KORR_B");
    EXPECT_STREQ(next, "second");
}
TEST_F(EnvironmentTest, ManyThreadsReadTheirOwnValues) {
    for (int i = 0; i < 4; ++i) {
        variables::Put("KORR_" + std::to_string(i), std::string(100, static_cast<char>('a' + i)));
    }
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            const std::string name = "KORR_" + std::to_string(i);
            for (int k = 0; k < 200; ++k) {
                ASSERT_EQ(GetEnvironment(name.c_str()), std::string(100, static_cast<char>('a' + i)));
            }
        });
    }
    for (auto& thread : threads) thread.join();
}

}  // namespace
