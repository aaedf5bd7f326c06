#include "tracehost/line_settings.h"

#include <gtest/gtest.h>

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr const char* kBefore =
    "M     12:00:00:000 | Tarnel_UARTCollector: UART configuration: Target: Trace Clock = ";

TEST(LineSettings, AreThoseOfTheLastLine) {
    const std::string log = std::string(kBefore) + "1.000000, Baud rate=1, Prescalar=0\nother\n" + kBefore +
                            "16777216.500000, Baud rate=5592405, Prescalar=2\nmore\n";
    const auto settings = LastLineSettings(log);
    ASSERT_TRUE(settings.has_value());
    EXPECT_EQ(settings->traceClock, 16777216.5);
    EXPECT_EQ(settings->baudRate, 5592405U);
    EXPECT_EQ(settings->prescaler, 2U);
}

TEST(LineSettings, AreAbsentWhereTheLineIsNotWhole) {
    for (const char* rest : {"", "1", "1.0, Baud rate=", "1.0, Baud rate=5",
                             "1.0, Baud rate=5, Prescalar=", "x, Baud rate=5, Prescalar=1",
                             "nan, Baud rate=5, Prescalar=1", "1.0, Baud rate=-5, Prescalar=1",
                             "1e99, Baud rate=5, Prescalar=1", "1.0, Baud rate=5\n, Prescalar=1"}) {
        EXPECT_FALSE(LastLineSettings(std::string(kBefore) + rest).has_value()) << rest;
    }
    EXPECT_FALSE(LastLineSettings("").has_value());
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
