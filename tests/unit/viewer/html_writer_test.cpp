// A recording in a page's file.
#include "viewer/html_writer.h"
#include "viewer/recording_feed.h"

#include <gtest/gtest.h>

#include "tests/unit/trace/itm_encoder.h"
#include "tests/unit/viewer/gunzip.h"
#include "tests/unit/viewer/memory_bytes.h"
#include "tests/unit/viewer/window_reader.h"
#include "viewer/base64.h"

namespace Korr::Plim::Trace::Viewer {
namespace {

using Swo::Bytes;

constexpr const char* kPage = "<html><!--RECORDING--><p>page</p></html>";
constexpr const char* kBegin = "<html><script type=\"application/gzip\" id=\"recording\">";
constexpr const char* kEnd = "</script><p>page</p></html>";

std::string Decoded(const std::string& text) {
    static const std::string kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    unsigned bits = 0;
    int count = 0;
    for (const char digit : text) {
        if (digit == '=') break;
        bits = bits << 6 | static_cast<unsigned>(kDigits.find(digit));
        count += 6;
        if (count < 8) continue;
        count -= 8;
        bytes += static_cast<char>(bits >> count & 0xFF);
    }
    return bytes;
}

/// The data in a page, as they stand there.
std::string Packed(const std::string& page) {
    const std::string begin = kBegin;
    const std::string end = kEnd;
    EXPECT_EQ(page.substr(0, begin.size()), begin);
    EXPECT_GE(page.size(), begin.size() + end.size());
    EXPECT_EQ(page.substr(page.size() - end.size()), end);
    return page.substr(begin.size(), page.size() - begin.size() - end.size());
}

struct Held {
    Json json;
    std::vector<std::string> windows;
};

/// The same, read as docs/viewer-feed.md has them.
Held HeldIn(const std::string& page) {
    const std::string data = Gunzip(Decoded(Packed(page)));
    Held held;
    std::size_t size = 0;
    for (int i = 3; i >= 0; --i) {
        size = size << 8 | static_cast<unsigned char>(data.at(static_cast<std::size_t>(i)));
    }
    held.json = Json::parse(data.substr(4, size));
    std::size_t at = (4 + size + 7) / 8 * 8;
    for (const std::size_t length : held.json["windows"]) {
        held.windows.push_back(data.substr(at, length));
        at += length;
    }
    EXPECT_EQ(at, data.size());
    return held;
}

TEST(EmbeddedRecording, HoldsWhatThePageAsksFor) {
    const Bytes capture = Swo::FirmwareStream(2, 90000, true).bytes;
    const auto feed = FeedOf(capture);
    const Held held = HeldIn(EmbedRecording(*feed, kPage, 1000000));
    EXPECT_EQ(held.json["overview"]["bytes"], capture.size());
    EXPECT_EQ(held.json["ledger"]["total"], Json::parse(feed->Ledger(0, 1))["total"]);
    EXPECT_EQ(held.json["profile"]["function"],
              Json::parse(feed->Profile({0, feed->Now().end, ProfileBy::Function, 48})));
    EXPECT_TRUE(held.json["profile"]["address"].contains("rows"));
    EXPECT_FALSE(held.json["profile"].contains("line"));
    ASSERT_GE(held.windows.size(), 2U);
    const ReadWindow whole = Read(held.windows[0]);
    EXPECT_EQ(whole.header["pixels"], 1024);
    EXPECT_EQ(whole.header["exact"], false);
    EXPECT_EQ(whole.header["to"], held.json["overview"]["axis"]["end"]);
    int exact = 0;
    for (const std::string& window : held.windows) exact += Read(window).header["exact"] ? 1 : 0;
    EXPECT_GE(exact, 1);
}

TEST(EmbeddedRecording, OffersNothingThatAFileCannotDo) {
    RecordingSettings settings;
    settings.changeable = settings.stoppable = true;
    const auto feed = FeedOf(Swo::FirmwareStream(2, 500, true).bytes, settings);
    EXPECT_EQ(Json::parse(feed->Overview())["changeable"], true);
    const Held held = HeldIn(EmbedRecording(*feed, kPage, 1000000));
    EXPECT_EQ(held.json["overview"]["changeable"], false);
    EXPECT_EQ(held.json["overview"]["stoppable"], false);
}

TEST(EmbeddedRecording, OfASmallRecordingIsAllAndNoMore) {
    const auto feed = FeedOf(Swo::FirmwareStream(2, 500, true).bytes);
    const Held held = HeldIn(EmbedRecording(*feed, kPage, 1000000));
    ASSERT_EQ(held.windows.size(), 2U);
    EXPECT_EQ(Read(held.windows[1]).header["exact"], true);
}

/// More packets than one exact window holds.
TEST(EmbeddedRecording, IsThereToTheLastPacketWhereThereIsRoom) {
    const Bytes capture = Swo::FirmwareStream(2, 120000, true).bytes;
    const auto feed = FeedOf(capture);
    const Held held = HeldIn(EmbedRecording(*feed, kPage, 20'000'000));
    const double end = feed->Now().end;
    double upTo = 0;
    ASSERT_GT(held.windows.size(), 2U);
    for (size_t i = 1; i < held.windows.size(); ++i) {
        const Json header = Read(held.windows[i]).header;
        EXPECT_EQ(header["exact"], true);
        EXPECT_EQ(header["from"], upTo);
        upTo = header["to"];
    }
    EXPECT_EQ(upTo, end);
}

TEST(EmbeddedRecording, FitsIntoItsBudget) {
    const auto feed = FeedOf(Swo::FirmwareStream(2, 60000, true).bytes);
    std::vector<size_t> windows;
    for (const size_t budget : {50'000U, 100'000U, 400'000U}) {
        const std::string page = EmbedRecording(*feed, kPage, budget);
        EXPECT_LE(page.size(), budget + 2000);
        windows.push_back(HeldIn(page).windows.size());
    }
    EXPECT_GT(windows[1], windows[0]) << "more room, more windows";
    EXPECT_EQ(windows[2], 2U) << "the whole, and every packet of it";
    EXPECT_GE(HeldIn(EmbedRecording(*feed, kPage, 0)).windows.size(), 1U) << "the whole is always there";
}

TEST(EmbeddedRecording, ShowsTheWholeInFewerColumnsWhereMoreDoNotFit) {
    const auto feed = FeedOf(Swo::FirmwareStream(2, 60000, true).bytes);
    const auto columns = [&feed](size_t budget) {
        return Read(HeldIn(EmbedRecording(*feed, kPage, budget)).windows[0]).header["pixels"].get<int>();
    };
    EXPECT_EQ(columns(1'000'000), 1024);
    EXPECT_EQ(columns(0), 64);
    EXPECT_LT(columns(20'000), 1024);
}

/// Whether an exact window shows so many packets on both sides of a loss.
bool IsShown(const Held& held, const Json& entry, const AxisStretch& around) {
    for (const std::string& window : held.windows) {
        const Json header = Read(window).header;
        const double time = entry["time"];
        if (header["exact"] == true &&
            header["from"] <= std::max(around.from, header["from"].get<double>()) && header["from"] <= time &&
            header["to"] >= around.to) {
            return true;
        }
    }
    return false;
}

TEST(EmbeddedRecording, ShowsAThousandPacketsBesideEachLoss) {
    Bytes capture;
    constexpr int kLosses = 12;
    for (int i = 0; i < kLosses; ++i) {
        const Bytes part = Swo::FirmwareStream(3, 60000, true).bytes;
        capture.insert(capture.end(), part.begin(), part.end());
        capture.push_back(0x70);
    }
    const auto feed = FeedOf(capture);
    const Held held = HeldIn(EmbedRecording(*feed, kPage, 1'000'000));
    const Json& entries = held.json["ledger"]["entries"];
    int overflows = 0;
    for (const Json& entry : entries) {
        if (entry["hint"] == true) continue;
        ++overflows;
        EXPECT_TRUE(IsShown(held, entry, feed->Around(entry["offset"], 1000))) << entry;
    }
    EXPECT_GE(overflows, kLosses);
}

TEST(EmbeddedRecording, ShowsThePacketsBesideALossThatAHintPrecedes) {
    Bytes capture;
    constexpr int kLosses = 12;
    for (int i = 0; i < kLosses; ++i) {
        const Bytes part = Swo::FirmwareStream(3, 60000, true).bytes;
        capture.insert(capture.end(), part.begin(), part.end());
        capture.insert(capture.end(), {0xD0, 0x05});  // a time that was delayed
        for (int packet = 0; packet < 100; ++packet) capture.insert(capture.end(), {0x01, 'x'});
        capture.push_back(0x70);
    }
    const auto feed = FeedOf(capture);
    const Held held = HeldIn(EmbedRecording(*feed, kPage, 300000));
    int overflows = 0;
    for (const Json& entry : held.json["ledger"]["entries"]) {
        if (entry["hint"] == true) continue;
        ++overflows;
        EXPECT_TRUE(IsShown(held, entry, feed->Around(entry["offset"], 1000))) << entry;
    }
    EXPECT_GE(overflows, kLosses);
}

TEST(EmbeddedRecording, HoldsNothingThatEndsItsScript) {
    Bytes capture;
    for (const char character : std::string("</script><script>alert(1)</script>\n<!--")) {
        capture.push_back(0x01);
        capture.push_back(static_cast<uint8_t>(character));
    }
    RecordingSettings settings;
    settings.name = "</script>.bin";
    const std::string page = EmbedRecording(*FeedOf(capture, settings), kPage, 100000);
    EXPECT_EQ(Packed(page).find('<'), std::string::npos);
    const Json data = HeldIn(page).json;
    EXPECT_EQ(data["text"]["port:0"]["rows"][0]["text"], "</script><script>alert(1)</script>");
    EXPECT_EQ(data["overview"]["name"], "</script>.bin");
}

TEST(EmbeddedRecording, HasSourceLinesUnlessTheirReaderFails) {
    Bytes capture = {0x17, 0x10, 0x20, 0, 8};
    RecordingSettings settings;
    settings.lines = std::make_shared<LineFinder>([](const std::vector<uint32_t>& addresses) {
        LineFinder::Lines lines;
        for (const uint32_t address : addresses) lines[address] = "main.c:7";
        return lines;
    });
    Json data = HeldIn(EmbedRecording(*FeedOf(capture, settings), kPage, 100000)).json;
    EXPECT_EQ(data["profile"]["line"]["rows"][0]["name"], "main.c:7");
    EXPECT_EQ(data["overview"]["lines"], true);
    settings.lines = std::make_shared<LineFinder>(
        [](const std::vector<uint32_t>&) -> LineFinder::Lines { throw std::runtime_error("it crashed"); });
    data = HeldIn(EmbedRecording(*FeedOf(capture, settings), kPage, 100000)).json;
    EXPECT_FALSE(data["profile"].contains("line"));
    EXPECT_EQ(data["overview"]["lines"], false);
}

TEST(EmbeddedRecording, WantsAPageWithAPlaceForIt) {
    EXPECT_THROW(EmbedRecording(*FeedOf({}), "<html></html>", 1000), std::invalid_argument);
    EXPECT_TRUE(HeldIn(EmbedRecording(*FeedOf({}), kPage, 1000)).json.contains("overview"))
        << "of an empty recording, too";
}

TEST(Base64, IsThatOfRfc4648) {
    const std::vector<std::pair<std::string, std::string>> vectors = {
        {"", ""},        {"f", "Zg=="},        {"fo", "Zm8="},
        {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {"foobar", "Zm9vYmFy"}};
    for (const auto& [bytes, text] : vectors) EXPECT_EQ(Base64(bytes), text);
    EXPECT_EQ(Base64("\xFB\xFF"), "+/8=");
}

}  // namespace
}  // namespace Korr::Plim::Trace::Viewer
