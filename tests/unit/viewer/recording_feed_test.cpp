// What a recording's feed answers.
#include "viewer/recording_feed.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/unit/trace/itm_encoder.h"
#include "tests/unit/viewer/memory_bytes.h"
#include "tests/unit/viewer/window_reader.h"

namespace Korr::Plim::Trace::Viewer {
namespace {

using Swo::Bytes;
using testing::ElementsAre;

/// A file in the folder of recordings; empty when there is none.
Bytes RecordedFile(const std::string& name) {
    const char* recording = std::getenv("TARNEL_SWO_RECORDING");
    if (recording == nullptr) return {};
    std::ifstream file(std::filesystem::path(recording).parent_path() / name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
}

class FirmwareRecording : public testing::Test {
  protected:
    void SetUp() override {
        const Bytes capture = RecordedFile("swo-tpiu-8mbaud.bin");
        const Bytes elf = RecordedFile("swo-tpiu-8mbaud.elf");
        if (capture.empty() || elf.empty()) {
            GTEST_SKIP() << "there is no such recording in the folder of TARNEL_SWO_RECORDING";
        }
        RecordingSettings settings;
        settings.name = "swo-tpiu-8mbaud.bin";
        settings.symbols = std::make_shared<Symbols::ElfSymbols>(Symbols::ElfFile(elf));
        feed = FeedOf(capture, settings);
        overview = Json::parse(feed->Overview());
    }
    ReadWindow Whole(const std::vector<std::string>& tracks = {}, bool columns = false) const {
        return Read(feed->Window({overview["axis"]["begin"], overview["axis"]["end"], 100, tracks, columns}));
    }

    std::unique_ptr<RecordingFeed> feed;
    Json overview;
};

TEST_F(FirmwareRecording, IsToldInTracks) {
    EXPECT_EQ(overview["framing"], "tpiu:1");
    EXPECT_EQ(overview["axis"]["kind"], "bytes");
    EXPECT_EQ(overview["axis"]["end"], 7856);
    EXPECT_EQ(overview["verdict"]["name"], "tpiu-framed");
    EXPECT_EQ(overview["lost"]["target"], 14);
    std::map<std::string, int> totals;
    for (const Json& track : overview["tracks"]) totals[track["id"]] = track["total"];
    EXPECT_EQ(totals.at("exception:44"), 8);
    EXPECT_EQ(totals.at("nesting"), 16);
    EXPECT_EQ(totals.at("port:0") + totals.at("port:1"), 97);
    EXPECT_EQ(totals.at("pc"), 393);
}

TEST_F(FirmwareRecording, HasItsProfile) {
    const Json profile = Json::parse(feed->Profile({0, 7856}));
    std::map<std::string, int> rows;
    int all = 0;
    for (const Json& row : profile["rows"]) {
        rows[row["name"]] += row["samples"].get<int>();
        all += row["samples"].get<int>();
    }
    EXPECT_EQ(all, profile["samples"]);
    EXPECT_GT(rows["delay"], 0);
    EXPECT_GT(rows["bubble_sort"], 0);
    EXPECT_GT(rows["TIM2_IRQ"], 0);
}

TEST_F(FirmwareRecording, EndsExceptionsThatOnlyAReturnEnds) {
    const ReadWindow window = Whole({"nesting", "exception:44"});
    EXPECT_EQ(window.header["exact"], true);
    EXPECT_EQ(window.tracks.at("exception:44").at("begin").size(), 8U);
    for (const double flags : window.tracks.at("exception:44").at("flags")) {
        EXPECT_EQ(static_cast<int>(flags) & Swo::kEndFollows, Swo::kEndFollows);
    }
}

TEST_F(FirmwareRecording, HasItsText) {
    const Json text = Json::parse(feed->Text({0, 0, 10}));
    EXPECT_EQ(text["lines"], 1);
    EXPECT_EQ(text["rows"][0]["text"], "OnOffOnOffOnOffOnOffOnOff");
    EXPECT_EQ(Json::parse(feed->Find({0, "OFF", 0}))["line"], 0);
    EXPECT_EQ(Json::parse(feed->Find({0, "OFF", 0, false, true}))["line"], nullptr);
}

TEST_F(FirmwareRecording, AddsUpToTheSameInColumns) {
    const ReadWindow window = Whole({}, true);
    EXPECT_EQ(window.header["exact"], false);
    double samples = 0;
    for (const double count : window.tracks.at("pc").at("samples")) samples += count;
    EXPECT_EQ(samples, 393);
    double bytes = 0;
    for (const double count : window.tracks.at("bandwidth").at("bytes")) bytes += count;
    EXPECT_NEAR(bytes, 7856, 64);
    EXPECT_EQ(window.marks.at("class").size(), window.marks.at("time").size());
}

}  // namespace
}  // namespace Korr::Plim::Trace::Viewer
