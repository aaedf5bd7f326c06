#include "source_utilities/uTime.h"

#include <gtest/gtest.h>

#include <array>
#include <thread>

#include "tests/fakes/scripted_local_time.h"

namespace {

using KORR_PLIM::uTime;
namespace clock_script = fakes::local_time;

class uTimeTest : public testing::Test {
  protected:
    uTimeTest() { clock_script::Reset(); }

    /// Formats the scripted moment.
    static std::string Formatted(const char* format, int32_t size = 100) {
        const uTime now;
        std::array<char, 200> buffer;
        buffer.fill('#');
        EXPECT_EQ(uTime::Format(buffer.data(), size, format), buffer.data());
        EXPECT_EQ(buffer[static_cast<std::size_t>(size)], '#') << "written behind the buffer";
        return buffer.data();
    }
    static std::string DayOfYear(int32_t year, int32_t month, int32_t day) {
        auto time = clock_script::UsualTime();
        time.year = year;
        time.month = month;
        time.day = day;
        clock_script::Set(time);
        return Formatted("%j");
    }
};

TEST_F(uTimeTest, GivesDayMonthAndYear) {
    const uTime now;
    EXPECT_EQ(now.Day(), 16);
    EXPECT_EQ(now.Month(), 11);
    EXPECT_EQ(now.Year(), 2026);
}
TEST_F(uTimeTest, PercentSGivesPaddedMilliseconds) { EXPECT_EQ(Formatted("%H:%M:%S:%s"), "12:34:56:007"); }
TEST_F(uTimeTest, PercentHashSGivesUnpaddedMilliseconds) {
    EXPECT_EQ(Formatted("%H:%M:%S:%#s"), "12:34:56:7");
    EXPECT_EQ(Formatted("%s|%#s"), "007|7");
}
TEST_F(uTimeTest, MillisecondsOfThreeDigitsStay) {
    auto time = clock_script::UsualTime();
    time.millisecond = 999;
    clock_script::Set(time);
    EXPECT_EQ(Formatted("%s %#s"), "999 999");
}
TEST_F(uTimeTest, FormatsDateAndWeekday) {
    EXPECT_EQ(Formatted("%m/%d/%y | "), "11/16/26 | ");
    EXPECT_EQ(Formatted("%A %w"), "Monday 1");
}
TEST_F(uTimeTest, FormatRefusesNullBufferNullFormatAndNoRoom) {
    const uTime now;
    std::array<char, 4> buffer{'#'};
    EXPECT_EQ(uTime::Format(nullptr, 10, "%H"), nullptr);
    EXPECT_EQ(uTime::Format(buffer.data(), 4, nullptr), nullptr);
    EXPECT_EQ(uTime::Format(buffer.data(), 0, "%H"), nullptr);
    EXPECT_EQ(uTime::Format(buffer.data(), -1, "%H"), nullptr);
    EXPECT_EQ(buffer[0], '#');
}
TEST_F(uTimeTest, FormatThatIsCutStaysInItsBuffer) {
    EXPECT_EQ(Formatted("abcdefgh", 5), "abcd");
    EXPECT_EQ(Formatted("ab%H", 4), "ab") << "half a conversion is dropped";
    EXPECT_EQ(Formatted("a%%%", 10), "a%");
    EXPECT_EQ(Formatted("x", 1), "");
}
TEST_F(uTimeTest, HalfAConversionWithItsFlagsIsDropped) {
    EXPECT_EQ(Formatted("ab%#S", 5), "ab") << "cut behind the flag";
    EXPECT_EQ(Formatted("ab%#"), "ab");
    EXPECT_EQ(Formatted("ab%E"), "ab");
    EXPECT_EQ(Formatted("ab%O"), "ab");
    EXPECT_EQ(Formatted("ab%%#s"), "ab") << "as it stands when the milliseconds are put in";
    EXPECT_EQ(Formatted("#"), "#");
    EXPECT_EQ(Formatted("%%#"), "%#") << "no conversion, but a percent sign and text";
    EXPECT_EQ(Formatted("%H12-"), "1212-");
}
TEST_F(uTimeTest, EveryOccurrenceOfTheMillisecondsIsReplaced) {
    EXPECT_EQ(Formatted("%s %s %#s %#s"), "007 007 7 7");
}
TEST_F(uTimeTest, DisabledTimeIsNotFormatted) {
    class Disabled : public uTime {
      public:
        static void Set() { validity = Validity::kDisabled; }
    };
    Disabled::Set();
    std::array<char, 4> buffer{'#'};
    EXPECT_EQ(uTime::Format(buffer.data(), 4, "%H"), nullptr);
    EXPECT_EQ(buffer[0], '#');
    EXPECT_EQ(Formatted("%H"), "12") << "the next capture makes it valid again";
}
TEST_F(uTimeTest, ResultThatDoesNotFitIsEmpty) { EXPECT_EQ(Formatted("%A", 4), ""); }
// strftime prints one more than the day of year that it is given.
TEST_F(uTimeTest, FirstOfMarchIsDay60WhenTheYearIsDivisibleByFour) {
    EXPECT_EQ(DayOfYear(2024, 3, 1), "061");
}
TEST_F(uTimeTest, FirstOfMarchIsDay61OfOtherYears) { EXPECT_EQ(DayOfYear(2026, 3, 1), "062"); }
TEST_F(uTimeTest, DayOfYearTablesAreOppositeToTheCalendar) {
    const std::array<int, 12> divisible{0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    const std::array<int, 12> other{0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335};
    for (std::size_t month = 0; month < 12; ++month) {
        const auto number = static_cast<int32_t>(month + 1);
        EXPECT_EQ(std::stoi(DayOfYear(2028, number, 1)), divisible[month] + 1 + 1) << number;
        EXPECT_EQ(std::stoi(DayOfYear(2100, number, 1)), divisible[month] + 1 + 1) << number;
        EXPECT_EQ(std::stoi(DayOfYear(2027, number, 1)), other[month] + 1 + 1) << number;
    }
}
TEST_F(uTimeTest, DayOfYearCountsFromOneAndIsZeroWithoutAMonth) {
    EXPECT_EQ(DayOfYear(2026, 1, 1), "002");
    EXPECT_EQ(DayOfYear(2026, 0, 17), "001");
    EXPECT_EQ(DayOfYear(2026, 13, 17), "001");
}
TEST_F(uTimeTest, SnapshotIsSharedBetweenThreads) {
    const uTime here;
    auto time = clock_script::UsualTime();
    time.hour = 23;
    clock_script::Set(time);
    std::thread([] { const uTime there; }).join();
    std::array<char, 10> buffer{};
    EXPECT_STREQ(uTime::Format(buffer.data(), 10, "%H"), "23");
}

}  // namespace
