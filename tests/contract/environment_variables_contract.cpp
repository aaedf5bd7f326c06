#include <gtest/gtest.h>

#include <string>

#include "source_utilities/environment_variables.h"

namespace {

using namespace KORR_PLIM::platform;

TEST(EnvironmentVariablesContract, UnsetIsEmpty) { EXPECT_EQ(GetVariable("KORR_CONTRACT_NONE"), ""); }
TEST(EnvironmentVariablesContract, SetIsReadAndOverwritten) {
    EXPECT_TRUE(SetVariable("KORR_CONTRACT_A", "one"));
    EXPECT_EQ(GetVariable("KORR_CONTRACT_A"), "one");
    EXPECT_TRUE(SetVariable("KORR_CONTRACT_A", "two"));
    EXPECT_EQ(GetVariable("KORR_CONTRACT_A"), "two");
}
TEST(EnvironmentVariablesContract, NamesThatAreNoneAreRefused) {
    EXPECT_FALSE(SetVariable("", "a"));
    EXPECT_FALSE(SetVariable("KORR=A", "a"));
    EXPECT_EQ(GetVariable(""), "");
}
TEST(EnvironmentVariablesContract, ThirtyTwoThousandCharactersAreRead) {
    const std::string longValue(32000, 'x');
    EXPECT_TRUE(SetVariable("KORR_CONTRACT_LONG", longValue.c_str()));
    EXPECT_EQ(GetVariable("KORR_CONTRACT_LONG"), longValue);
    SetVariable("KORR_CONTRACT_LONG", "");
}

}  // namespace
