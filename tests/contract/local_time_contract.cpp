#include <gtest/gtest.h>

#include "source_utilities/local_time.h"

namespace {

TEST(LocalTimeContract, ReadingIsACalendarTime) {
    const auto now = KORR_PLIM::platform::ReadLocalTime();
    EXPECT_GE(now.year, 2024);
    EXPECT_TRUE(now.month >= 1 && now.month <= 12);
    EXPECT_TRUE(now.day >= 1 && now.day <= 31);
    EXPECT_TRUE(now.hour >= 0 && now.hour <= 23);
    EXPECT_TRUE(now.minute >= 0 && now.minute <= 59);
    EXPECT_TRUE(now.second >= 0 && now.second <= 60);
    EXPECT_TRUE(now.millisecond >= 0 && now.millisecond <= 999);
}
TEST(LocalTimeContract, DayOfWeekFitsTheDate) {
    const auto now = KORR_PLIM::platform::ReadLocalTime();
    // Zeller's rule, Sunday is 0.
    const int32_t month = now.month < 3 ? now.month + 12 : now.month;
    const int32_t year = now.month < 3 ? now.year - 1 : now.year;
    const int32_t saturdayBased =
        (now.day + 13 * (month + 1) / 5 + year + year / 4 - year / 100 + year / 400) % 7;
    EXPECT_EQ(now.dayOfWeek, (saturdayBased + 6) % 7);
}

}  // namespace
