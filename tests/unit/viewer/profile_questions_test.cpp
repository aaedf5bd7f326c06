// Where the processor was: by source line, and over time.
#include "viewer/recording_feed.h"

#include <gtest/gtest.h>

#include <numeric>

#include "tests/unit/trace/itm_encoder.h"
#include "tests/unit/viewer/memory_bytes.h"
#include "tests/unit/viewer/window_reader.h"

namespace Korr::Plim::Trace::Viewer {
namespace {

using Swo::Bytes;

/// A sample of each address, 10 ticks apart.
Bytes Samples(const std::vector<uint32_t>& addresses) {
    Bytes bytes;
    for (const uint32_t address : addresses) {
        bytes.push_back(0x17);
        for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<uint8_t>(address >> 8 * i));
        bytes.insert(bytes.end(), {0xC0, 10});
    }
    return bytes;
}

/// The lines of a made-up program: one each 16 bytes, none above 0x1000.
LineFinder::Lines MadeUp(const std::vector<uint32_t>& addresses) {
    LineFinder::Lines lines;
    for (const uint32_t address : addresses) {
        if (address < 0x1000) lines[address] = "main.c:" + std::to_string(address / 16);
    }
    return lines;
}

TEST(Profile, BySourceLineCountsWhatALineHas) {
    RecordingSettings settings;
    std::vector<std::vector<uint32_t>> asked;
    settings.lines = std::make_shared<LineFinder>([&](const std::vector<uint32_t>& addresses) {
        asked.push_back(addresses);
        return MadeUp(addresses);
    });
    const auto feed = FeedOf(Samples({0x104, 0x108, 0x104, 0x204, 0x2000}), settings);
    EXPECT_EQ(Json::parse(feed->Overview())["lines"], true);
    const Json profile = Json::parse(feed->Profile({0, 1000, ProfileBy::Line}));
    ASSERT_EQ(profile["rows"].size(), 3U);
    EXPECT_EQ(profile["rows"][0], (Json{{"name", "main.c:16"}, {"address", 0x104}, {"samples", 3}}));
    EXPECT_EQ(profile["rows"][1], (Json{{"name", "main.c:32"}, {"address", 0x204}, {"samples", 1}}));
    EXPECT_EQ(profile["rows"][2], (Json{{"name", "0x00002000"}, {"address", 0x2000}, {"samples", 1}}));
    feed->Profile({0, 1000, ProfileBy::Line});
    EXPECT_EQ(asked.size(), 1U) << "what was asked once is known, be it that there is no line";
    feed->Profile({0, 1000, ProfileBy::Address});
    EXPECT_EQ(asked.size(), 1U);
}

TEST(Profile, WithoutAReaderOfLinesHasNone) {
    const auto feed = FeedOf(Samples({0x104}));
    EXPECT_EQ(Json::parse(feed->Overview())["lines"], false);
    EXPECT_EQ(Json::parse(feed->Profile({0, 1000, ProfileBy::Line}))["rows"][0]["name"], "0x00000104");
}

TEST(Profile, WhoseReaderOfLinesFailsFails) {
    RecordingSettings settings;
    settings.lines = std::make_shared<LineFinder>(
        [](const std::vector<uint32_t>&) -> LineFinder::Lines { throw std::runtime_error("it crashed"); });
    const auto feed = FeedOf(Samples({0x104}), settings);
    EXPECT_THROW(feed->Profile({0, 1000, ProfileBy::Line}), std::runtime_error);
    EXPECT_EQ(Json::parse(feed->Profile({0, 1000, ProfileBy::Address}))["samples"], 1);
}

TEST(Profile, IsToldOverTime) {
    const auto feed = FeedOf(Samples({0x104, 0x104, 0x204, 0x104}));  // at 10, 20, 30 and 40
    const Json profile = Json::parse(feed->Profile({0, 50, ProfileBy::Address, 5}));
    EXPECT_EQ(profile["rows"][0]["strip"], (Json{0, 1, 1, 0, 1}));
    EXPECT_EQ(profile["rows"][1]["strip"], (Json{0, 0, 0, 1, 0}));
    const Json zoomed = Json::parse(feed->Profile({25, 45, ProfileBy::Address, 2}));
    EXPECT_EQ(zoomed["rows"][0]["strip"], (Json{0, 1}));
    EXPECT_FALSE(Json::parse(feed->Profile({0, 50, ProfileBy::Address}))["rows"][0].contains("strip"));
}

/// What is counted in whole parts of the capture, and what is decoded again beside them, adds up to the
/// samples.
TEST(Profile, OverTimeOfALongRecordingMissesNothing) {
    std::vector<uint32_t> addresses;
    for (uint32_t i = 0; i < 6'000'000; ++i) addresses.push_back(i < 3'000'000 ? 0x100 : 0x200 + i % 8 * 4);
    const auto feed = FeedOf(Samples(addresses));  // 42 MB
    const double end = feed->Now().end;
    for (const auto& [from, to] : {std::pair{0.0, end}, std::pair{end / 5, end * 0.9}}) {
        const Json profile = Json::parse(feed->Profile({from, to, ProfileBy::Address, 20}));
        for (const Json& row : profile["rows"]) {
            double sum = 0;
            for (const Json& part : row["strip"]) sum += part.get<double>();
            EXPECT_NEAR(sum, row["samples"].get<double>(), 2) << row;
        }
        const Json& first = profile["rows"][0]["strip"];
        EXPECT_EQ(profile["rows"][0]["address"], 0x100);
        EXPECT_GT(first[0], 0);
        EXPECT_EQ(first[19], 0) << "the first address was sampled in the first half alone";
    }
}

TEST(Profile, OverTimeIsToldOfTheFirstRows) {
    std::vector<uint32_t> addresses;
    for (uint32_t i = 0; i < 200; ++i) addresses.push_back(i * 4);
    const Json profile = Json::parse(FeedOf(Samples(addresses))->Profile({0, 1e6, ProfileBy::Address, 4}));
    ASSERT_EQ(profile["rows"].size(), 200U);
    EXPECT_TRUE(profile["rows"][kRowsWithStrip - 1].contains("strip"));
    EXPECT_FALSE(profile["rows"][kRowsWithStrip].contains("strip"));
}

}  // namespace
}  // namespace Korr::Plim::Trace::Viewer
