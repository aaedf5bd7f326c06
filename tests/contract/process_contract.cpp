#include <gtest/gtest.h>

#include "source_utilities/process.h"

namespace {

using namespace KORR_PLIM::platform;

TEST(ProcessContract, ThisProcessExists) {
    EXPECT_NE(CurrentProcessId(), 0U);
    EXPECT_EQ(CurrentProcessId(), CurrentProcessId());
    EXPECT_TRUE(ProcessExists(CurrentProcessId()));
}
TEST(ProcessContract, ZeroAndIdsThatNoPlatformGivesDoNotExist) {
    EXPECT_FALSE(ProcessExists(0));
    EXPECT_FALSE(ProcessExists(0xFFFFFFFF));
    EXPECT_FALSE(ProcessExists(0x7FFFFFFF));
}

}  // namespace
