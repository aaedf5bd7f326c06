// What exact windows tell of spans of exceptions and of numbers that are none or infinite.
#include "viewer/recording_feed.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

#include "tests/unit/trace/itm_encoder.h"
#include "tests/unit/viewer/memory_bytes.h"
#include "tests/unit/viewer/window_reader.h"

namespace Korr::Plim::Trace::Viewer {
namespace {

using Swo::Bytes;

/// An exception packet: it is entered, left, or returned to.
Bytes Exception(uint8_t number, uint8_t function) {
    return {0x0E, number, static_cast<uint8_t>(function << 4)};
}

Bytes Joined(const std::vector<Bytes>& parts) {
    Bytes all;
    for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

const Bytes kSync = {0, 0, 0, 0, 0, 0x80};
const Bytes kTick = {0xC0, 10};
constexpr uint8_t kEnter = 1;
constexpr uint8_t kExit = 2;
constexpr uint8_t kReturn = 3;

TEST(Spans, TellWhereTheirPacketsStandInTheCapture) {
    const Bytes capture =
        Joined({kSync, Exception(0, kReturn), kTick, Exception(15, kEnter), kTick, Exception(22, kEnter),
                kTick, Exception(22, kExit), Exception(15, kExit), Exception(0, kReturn), kTick});
    const auto feed = FeedOf(capture);
    const ReadWindow window =
        Read(feed->Window({0, feed->Now().end, 10, {"nesting", "exception:15", "exception:22"}}));
    EXPECT_EQ(window.tracks.at("exception:15").at("offset"), std::vector<double>{11});
    EXPECT_EQ(window.tracks.at("exception:22").at("offset"), std::vector<double>{16});
    EXPECT_EQ(window.tracks.at("nesting").at("offset"), (std::vector<double>{0, 11, 16}))
        << "from the capture's begin";
    EXPECT_EQ(window.tracks.at("exception:15").at("flags"), std::vector<double>{0});
    // A window behind the beginning of one tells the same place.
    const ReadWindow later = Read(feed->Window({25, feed->Now().end, 10, {"exception:15"}}));
    EXPECT_EQ(later.tracks.at("exception:15").at("offset"), std::vector<double>{11});
    EXPECT_EQ(later.tracks.at("exception:15").at("flags"), std::vector<double>{Swo::kBeganBefore});
}

TEST(Spans, AreSuspectBesideDamageAndSalvagedBehindIt) {
    constexpr size_t kRounds = 40;
    const Bytes round =
        Joined({Exception(15, kEnter), kTick, Exception(15, kExit), Exception(0, kReturn), kTick});
    Bytes capture = kSync;
    for (size_t i = 0; i < kRounds; ++i) capture = Joined({capture, round});
    // No timestamp stands between the exit and what stands for nothing.
    capture = Joined({capture, Exception(15, kEnter), kTick, kTick, Exception(15, kExit), {0xA0}});
    const auto damage = static_cast<double>(capture.size() - 1);
    for (size_t i = 0; i < kRounds; ++i) capture = Joined({capture, round});
    const auto feed = FeedOf(capture);
    const ReadWindow window = Read(feed->Window({0, feed->Now().end, 10, {"exception:15"}}));
    const Arrays& spans = window.tracks.at("exception:15");
    ASSERT_GT(spans.at("flags").size(), kRounds + 1);
    for (size_t i = 0; i < spans.at("flags").size(); ++i) {
        const auto flags = static_cast<unsigned>(spans.at("flags")[i]);
        EXPECT_EQ((flags & Swo::kRunSuspect) != 0, i == kRounds) << i;
        EXPECT_EQ((flags & Swo::kRunSalvaged) != 0, i > kRounds) << i;
        EXPECT_EQ(spans.at("offset")[i] > damage, i > kRounds) << i;
    }
}

/// The arrays of each track of a window, a line a track.
std::string ArraysOf(RecordingFeed& feed, double end) {
    const ReadWindow window = Read(feed.Window(
        {0, end, 10, {"bandwidth", "nesting", "exception:15", "port:3", "port:0", "counter:cpi", "pc"}}));
    std::string text;
    for (const auto& [id, arrays] : window.tracks) {
        text += id + ":";
        for (const auto& array : arrays) text += " " + array.first;
        text += "\n";
    }
    return text;
}

TEST(Windows, HoldTheArraysOfEachKindAndNoOther) {
    Bytes capture = kSync;
    for (unsigned round = 0; round < 20000; ++round) {
        const Bytes value = {0x1B, static_cast<uint8_t>(round), 0xFF, 0x80, 0x01};  // port 3, no text
        const Bytes more = Joined({Exception(15, kEnter),
                                   kTick,
                                   value,
                                   {0x01, 'a'},
                                   {0x01, '\n'},
                                   {0x05, 0x01},
                                   {0x17, 0x00, 0x01, 0x00, 0x08},
                                   Exception(15, kExit),
                                   Exception(0, kReturn),
                                   kTick});
        capture.insert(capture.end(), more.begin(), more.end());
    }
    const auto feed = FeedOf(capture);
    EXPECT_EQ(ArraysOf(*feed, 1000),
              "bandwidth: bytes damage overflows padding\n"
              "counter:cpi: flags offset time\n"
              "exception:15: begin depth end flags offset\n"
              "nesting: begin depth end flags number offset\n"
              "pc: flags offset pc time\n"
              "port:0: bytes flags offset start time\n"
              "port:3: flags offset time value\n");
    EXPECT_EQ(ArraysOf(*feed, feed->Now().end),
              "bandwidth: bytes damage overflows padding\n"
              "counter:cpi: column count\n"
              "exception:15: column entries share\n"
              "nesting: column depth number share unknown\n"
              "pc: column samples sleeping\n"
              "port:0: bytes column lines\n"
              "port:3: column count first last max min\n");
}

TEST(Values, ThatAreInfiniteOrNoNumberAreToldOneByOne) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const std::vector<float> sent = {1.5F, kInfinity, -kInfinity, std::numeric_limits<float>::quiet_NaN(),
                                     -2};
    Bytes capture = kSync;
    for (const float number : sent) {
        const auto bits = std::bit_cast<uint32_t>(number);
        capture.push_back(0x1B);
        for (int shift = 0; shift < 32; shift += 8) capture.push_back(static_cast<uint8_t>(bits >> shift));
    }
    RecordingSettings settings;
    settings.ports[3] = {Swo::PortType::F32, ""};
    const auto feed = FeedOf(capture, settings);
    const ReadWindow exact = Read(feed->Window({0, feed->Now().end, 10, {"port:3"}}));
    const std::vector<double> values = exact.tracks.at("port:3").at("value");
    ASSERT_EQ(values.size(), sent.size());
    for (size_t i = 0; i < sent.size(); ++i) {
        EXPECT_TRUE(values[i] == double{sent[i]} || (std::isnan(values[i]) && std::isnan(sent[i]))) << i;
    }
    const ReadWindow columns = Read(feed->Window({0, feed->Now().end, 1, {"port:3"}, true}));
    const Arrays& cell = columns.tracks.at("port:3");
    EXPECT_EQ(cell.at("count"), std::vector<double>{4}) << "what is no number is left out";
    EXPECT_EQ(cell.at("min"), std::vector<double>{-HUGE_VAL});
    EXPECT_EQ(cell.at("max"), std::vector<double>{HUGE_VAL});
    EXPECT_EQ(cell.at("last"), std::vector<double>{-2});
}

TEST(Overview, TellsWhichRecordingItIs) {
    RecordingSettings settings;
    settings.recording = 7;
    EXPECT_EQ(Json::parse(FeedOf({}, settings)->Overview())["recording"], 7);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Viewer
