#include "channel/text_numbers.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>

namespace Korr::Plim::Trace::Tarnel {
namespace {

TEST(ParseInteger, ReadsASignedDecimalNumberAfterBlanks) {
    EXPECT_EQ(ParseInteger("42"), 42);
    EXPECT_EQ(ParseInteger(" \t\n\v\f\r-17"), -17);
    EXPECT_EQ(ParseInteger("+5"), 5);
}

TEST(ParseInteger, StopsAtTheFirstCharacterThatIsNoDigit) {
    EXPECT_EQ(ParseInteger("12abc"), 12);
    EXPECT_EQ(ParseInteger("0x10"), 0);
    EXPECT_EQ(ParseInteger("3\r"), 3);
}

TEST(ParseInteger, ATextWithoutANumberGivesZero) {
    EXPECT_EQ(ParseInteger(""), 0);
    EXPECT_EQ(ParseInteger("Prescalar value"), 0);
    EXPECT_EQ(ParseInteger("- 3"), 0);
    EXPECT_EQ(ParseInteger("--3"), 0);
}

TEST(ParseInteger, BeyondTheRangeTheNearestValueIsGiven) {
    EXPECT_EQ(ParseInteger("2147483647"), 2147483647);
    EXPECT_EQ(ParseInteger("2147483648"), 2147483647);
    EXPECT_EQ(ParseInteger("-2147483648"), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(ParseInteger("-2147483649"), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(ParseInteger("99999999999999999999999999999999"), 2147483647);
    EXPECT_EQ(ParseInteger("-99999999999999999999999999999999"), std::numeric_limits<int32_t>::min());
}

TEST(ParseUnsigned, ReadsADecimalNumberAfterBlanks) {
    EXPECT_EQ(ParseUnsigned("23"), 23U);
    EXPECT_EQ(ParseUnsigned("  +4294967295x"), 4294967295U);
    EXPECT_EQ(ParseUnsigned("010"), 10U);
    EXPECT_EQ(ParseUnsigned(""), 0U);
    EXPECT_EQ(ParseUnsigned("Auto"), 0U);
}

TEST(ParseUnsigned, ANegativeNumberWrapsAt32Bits) {
    EXPECT_EQ(ParseUnsigned("-1"), 4294967295U);
    EXPECT_EQ(ParseUnsigned("-5"), 4294967291U);
    EXPECT_EQ(ParseUnsigned("-4294967295"), 1U);
}

TEST(ParseUnsigned, AMagnitudeAbove32BitsGivesTheLargestNumberWhateverItsSign) {
    EXPECT_EQ(ParseUnsigned("4294967296"), 4294967295U);
    EXPECT_EQ(ParseUnsigned("-4294967296"), 4294967295U);
    EXPECT_EQ(ParseUnsigned("18446744073709551617"), 4294967295U);
    EXPECT_EQ(ParseUnsigned("-99999999999999999999999999"), 4294967295U);
}

TEST(ParseReal, ReadsDecimalNumbers) {
    EXPECT_EQ(ParseReal("48000000"), 48e6);
    EXPECT_EQ(ParseReal("  +4.8e7Hz"), 48e6);
    EXPECT_EQ(ParseReal("-.5"), -0.5);
    EXPECT_EQ(ParseReal("5."), 5.0);
    EXPECT_EQ(ParseReal("1e"), 1.0);
}

TEST(ParseReal, ATextWithoutANumberGivesZero) {
    EXPECT_EQ(ParseReal(""), 0.0);
    EXPECT_EQ(ParseReal("Frequency in Hz"), 0.0);
    EXPECT_EQ(ParseReal("+-5"), 0.0);
    EXPECT_EQ(ParseReal("--5"), 0.0);
    EXPECT_EQ(ParseReal("."), 0.0);
}

TEST(ParseReal, ReadsHexadecimalNumbers) {
    EXPECT_EQ(ParseReal("0x10"), 16.0);
    EXPECT_EQ(ParseReal("-0X1.8p1"), -3.0);
    EXPECT_EQ(ParseReal("0x.8"), 0.5);
    EXPECT_EQ(ParseReal("0x"), 0.0);
    EXPECT_EQ(ParseReal("0xg"), 0.0);
}

TEST(ParseReal, TooLargeGivesInfinityAndTooSmallGivesZero) {
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(ParseReal("1e400"), infinity);
    EXPECT_EQ(ParseReal("-1e400"), -infinity);
    EXPECT_EQ(ParseReal("1e99999999999999999999"), infinity);
    EXPECT_EQ(ParseReal("0.00001e500"), infinity);
    EXPECT_EQ(ParseReal(std::string(400, '9').c_str()), infinity);
    EXPECT_EQ(ParseReal(("1" + std::string(400, '0')).c_str()), infinity);
    EXPECT_EQ(ParseReal("1e-400"), 0.0);
    EXPECT_EQ(ParseReal("1e-99999999999999999999"), 0.0);
    EXPECT_EQ(ParseReal((std::string("0.") + std::string(400, '0') + "1").c_str()), 0.0);
    EXPECT_EQ(ParseReal("0x1p99999"), infinity);
    EXPECT_EQ(ParseReal("0x1p-99999"), 0.0);
    EXPECT_EQ(ParseReal("0e999999999999999"), 0.0);
}

TEST(ParseReal, ReadsInfinityAndNotANumber) {
    EXPECT_EQ(ParseReal("inf"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(ParseReal("-Infinity"), -std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(ParseReal("nan")));
}

TEST(ParseReal, TheDecimalPointIsAFullStopInEveryLocale) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    const char* german = std::setlocale(LC_ALL, "de_DE.UTF-8");
    EXPECT_EQ(ParseReal("4.8e7"), 48e6) << "in locale " << (german != nullptr ? german : before);
    EXPECT_EQ(ParseReal("4,8e7"), 4.0);
    EXPECT_EQ(FormatReal(4.8e7), "4.8e+07");
    std::setlocale(LC_ALL, before.c_str());
}

TEST(FormatReal, RendersSixSignificantDigits) {
    EXPECT_EQ(FormatReal(48000000.0), "4.8e+07");
    EXPECT_EQ(FormatReal(2000000.0), "2e+06");
    EXPECT_EQ(FormatReal(115200.0), "115200");
    EXPECT_EQ(FormatReal(1234567.0), "1.23457e+06");
    EXPECT_EQ(FormatReal(999999.5), "1e+06");
    EXPECT_EQ(FormatReal(0.0), "0");
    EXPECT_EQ(FormatReal(0.00001), "1e-05");
    EXPECT_EQ(FormatReal(1e300), "1e+300");
    EXPECT_EQ(FormatReal(-2.5), "-2.5");
    EXPECT_EQ(FormatReal(std::numeric_limits<double>::infinity()), "inf");
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tarnel
