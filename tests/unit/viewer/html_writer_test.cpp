// A recording in a page's file.
#include "viewer/html_writer.h"
#include "viewer/recording_feed.h"

#include <gtest/gtest.h>

#include "tests/unit/trace/itm_encoder.h"
#include "tests/unit/viewer/memory_bytes.h"
#include "tests/unit/viewer/window_reader.h"
#include "viewer/base64.h"

namespace Korr::Plim::Trace::Viewer {
namespace {

using Swo::Bytes;

constexpr const char* kPage = "<html><!--RECORDING--><p>page</p></html>";
constexpr const char* kBegin = "<html><script type=\"application/json\" id=\"recording\">";
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

/// The data in a page, as text.
std::string Data(const std::string& page) {
    const std::string begin = kBegin;
    const std::string end = kEnd;
    EXPECT_EQ(page.substr(0, begin.size()), begin);
    EXPECT_GE(page.size(), begin.size() + end.size());
    EXPECT_EQ(page.substr(page.size() - end.size()), end);
    return page.substr(begin.size(), page.size() - begin.size() - end.size());
}

TEST(EmbeddedRecording, HoldsWhatThePageAsksFor) {
    const Bytes capture = Swo::FirmwareStream(2, 20000, true).bytes;
    const auto feed = FeedOf(capture);
    const Json data = Json::parse(Data(EmbedRecording(*feed, kPage, 1000000)));
    EXPECT_EQ(data["overview"]["bytes"], capture.size());
    EXPECT_EQ(data["ledger"]["total"], Json::parse(feed->Ledger(0, 1))["total"]);
    EXPECT_TRUE(data["profile"]["function"].contains("rows"));
    EXPECT_TRUE(data["profile"]["address"].contains("rows"));
    ASSERT_GE(data["windows"].size(), 3U);
    const ReadWindow whole = Read(Decoded(data["windows"][0]));
    EXPECT_EQ(whole.header["pixels"], 1024);
    EXPECT_EQ(whole.header["exact"], false);
    EXPECT_EQ(whole.header["to"], data["overview"]["axis"]["end"]);
    int exact = 0;
    for (const Json& window : data["windows"]) exact += Read(Decoded(window)).header["exact"] ? 1 : 0;
    EXPECT_GE(exact, 1);
}

TEST(EmbeddedRecording, OfASmallRecordingIsAllAndNoMore) {
    const auto feed = FeedOf(Swo::FirmwareStream(2, 500, true).bytes);
    const Json data = Json::parse(Data(EmbedRecording(*feed, kPage, 1000000)));
    ASSERT_EQ(data["windows"].size(), 2U);
    EXPECT_EQ(Read(Decoded(data["windows"][1])).header["exact"], true);
}

TEST(EmbeddedRecording, FitsIntoItsBudget) {
    const auto feed = FeedOf(Swo::FirmwareStream(2, 60000, true).bytes);
    size_t windows = 0;
    for (const size_t budget : {200'000U, 400'000U, 1'000'000U}) {
        const std::string data = Data(EmbedRecording(*feed, kPage, budget));
        EXPECT_LE(data.size(), budget + 2000);
        const size_t now = Json::parse(data)["windows"].size();
        EXPECT_GE(now, windows) << "more room, more windows";
        windows = now;
    }
    EXPECT_GE(Json::parse(Data(EmbedRecording(*feed, kPage, 0)))["windows"].size(), 1U)
        << "the whole is always there";
}

TEST(EmbeddedRecording, ShowsTheWholeInFewerColumnsWhereMoreDoNotFit) {
    const auto feed = FeedOf(Swo::FirmwareStream(2, 60000, true).bytes);
    const auto columns = [&feed](size_t budget) {
        const Json data = Json::parse(Data(EmbedRecording(*feed, kPage, budget)));
        return Read(Decoded(data["windows"][0])).header["pixels"].get<int>();
    };
    EXPECT_EQ(columns(1'000'000), 1024);
    EXPECT_EQ(columns(0), 64);
    EXPECT_LT(columns(100'000), 1024);
}

TEST(EmbeddedRecording, ShowsWhereSomethingWasLost) {
    Bytes capture = Swo::FirmwareStream(3, 100000, true).bytes;
    const auto middle = capture.begin() + static_cast<std::ptrdiff_t>(capture.size() / 2);
    capture.erase(middle, middle + 101);
    const auto feed = FeedOf(capture);
    const Json data = Json::parse(Data(EmbedRecording(*feed, kPage, 1'000'000)));
    ASSERT_GE(data["ledger"]["entries"].size(), 1U);
    const double time = data["ledger"]["entries"][0]["time"];
    bool shown = false;
    for (const Json& text : data["windows"]) {
        const Json header = Read(Decoded(text)).header;
        shown = shown || (header["exact"] == true && header["from"] <= time && header["to"] > time);
    }
    EXPECT_TRUE(shown);
}

TEST(EmbeddedRecording, HoldsNothingThatEndsItsScript) {
    Bytes capture;
    for (const char character : std::string("</script><script>alert(1)</script>\n<!--")) {
        capture.push_back(0x01);
        capture.push_back(static_cast<uint8_t>(character));
    }
    RecordingSettings settings;
    settings.name = "</script>.bin";
    const std::string data = Data(EmbedRecording(*FeedOf(capture, settings), kPage, 100000));
    EXPECT_EQ(data.find('<'), std::string::npos);
    EXPECT_EQ(Json::parse(data)["text"]["port:0"]["rows"][0]["text"], "</script><script>alert(1)</script>");
    EXPECT_EQ(Json::parse(data)["overview"]["name"], "</script>.bin");
}

TEST(EmbeddedRecording, WantsAPageWithAPlaceForIt) {
    EXPECT_THROW(EmbedRecording(*FeedOf({}), "<html></html>", 1000), std::invalid_argument);
    EXPECT_TRUE(Json::accept(Data(EmbedRecording(*FeedOf({}), kPage, 1000)))) << "of an empty recording, too";
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
