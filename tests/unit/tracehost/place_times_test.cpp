// When bytes came, in captures whose packets do not tell.
#include "tracehost/place_times.h"

#include <gtest/gtest.h>

namespace Korr::Plim::Trace::Tracehost {

namespace {

using Kind = PlaceTimes::Kind;

TEST(PlaceTimes, AreNotKnownWithoutArrivalsAndRate) {
    const PlaceTimes times({}, std::nullopt);
    EXPECT_EQ(times.Known(), Kind::None);
    EXPECT_EQ(times.Explained(), "a place is an offset");
    EXPECT_EQ(times.Title(), "");
}

TEST(PlaceTimes, OfArrivalAreThoseOfTheFirstLookThatSawTheByte) {
    RecordingSheet sheet;
    sheet.arrivals = {{100, 0}, {200, 1000}, {300, 1000}, {400, 5000}};
    sheet.baudAsked = 2e6;
    const PlaceTimes times(sheet, std::nullopt);
    EXPECT_EQ(times.Known(), Kind::Arrival);
    EXPECT_EQ(times.Explained(), "times are those of arrival, within 100 ms");
    EXPECT_EQ(times.Title(), "arrived");
    EXPECT_EQ(times.Nanoseconds(0), 200'000'000u);
    EXPECT_EQ(times.Nanoseconds(999), 200'000'000u);
    EXPECT_EQ(times.Nanoseconds(1000), 400'000'000u);
    EXPECT_EQ(times.Nanoseconds(5000), 400'000'000u) << "behind the last look";
    EXPECT_EQ(times.Nanoseconds(UINT64_MAX), 400'000'000u);
}

TEST(PlaceTimes, OfTheLineAreTenBitsAByte) {
    RecordingSheet sheet;
    sheet.baudAsked = 1e6;
    const PlaceTimes asked(sheet, std::nullopt);
    EXPECT_EQ(asked.Known(), Kind::Line);
    EXPECT_EQ(asked.Explained(), "times are the earliest possible at 1,000,000 baud");
    EXPECT_EQ(asked.Title(), "earliest");
    EXPECT_EQ(asked.Nanoseconds(0), 0u);
    EXPECT_EQ(asked.Nanoseconds(100), 1'000'000u);
    sheet.baudTaken = 2e6;
    EXPECT_EQ(PlaceTimes(sheet, std::nullopt).Nanoseconds(100), 500'000u) << "what the port took counts";
    sheet.arrivals = {{200, 1000}};
    const PlaceTimes given(sheet, 4e6);
    EXPECT_EQ(given.Known(), Kind::Line) << "what the user says counts most";
    EXPECT_EQ(given.Nanoseconds(100), 250'000u);
}

TEST(PlaceTimes, ThatAreNeverReachedEndSomewhere) {
    RecordingSheet sheet;
    sheet.baudAsked = 1e-3;
    EXPECT_EQ(PlaceTimes(sheet, std::nullopt).Nanoseconds(UINT64_MAX), 1'000'000'000'000'000'000u);
    sheet.arrivals = {{UINT64_MAX, 1}};
    EXPECT_EQ(PlaceTimes(sheet, std::nullopt).Nanoseconds(0), 1'000'000'000'000'000'000u);
    sheet.arrivals.clear();
    sheet.baudAsked = 0;
    EXPECT_EQ(PlaceTimes(sheet, std::nullopt).Known(), Kind::None);
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
