// Questions of all kinds, right and wrong, and what is asked while a recording grows.
#include "viewer/recording_feed.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <random>
#include <thread>

#include "tests/unit/trace/itm_encoder.h"
#include "tests/unit/viewer/memory_bytes.h"
#include "tests/unit/viewer/window_reader.h"
#include "viewer/window_encoding.h"

namespace Korr::Plim::Trace::Viewer {
namespace {

using Swo::Bytes;

/// Text on port 0, a byte a packet; each line ends with a local timestamp of 10 ticks.
Bytes Lines(const std::vector<std::string>& lines) {
    Bytes bytes;
    for (const std::string& line : lines) {
        for (const char character : line + "\n") {
            bytes.push_back(0x01);
            bytes.push_back(static_cast<uint8_t>(character));
        }
        bytes.push_back(0xC0);
        bytes.push_back(10);
    }
    return bytes;
}

std::vector<std::string> Numbered(int count) {
    std::vector<std::string> lines;
    for (int i = 0; i < count; ++i) {
        lines.push_back("line " + std::to_string(i) + (i % 1000 == 700 ? " needle" : ""));
    }
    return lines;
}

template <class Ask>
std::string Refusal(Ask&& ask) {
    try {
        ask();
    } catch (const BadQuestion& refusal) {
        return refusal.what();
    }
    return "answered";
}

TEST(Questions, AskedWronglyAreRefused) {
    const auto feed = FeedOf(Lines({"a"}));
    constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
    constexpr double kMost = std::numeric_limits<double>::max();
    const auto window = [&](double from, double to, uint32_t pixels, std::vector<std::string> tracks = {}) {
        return Refusal([&] { feed->Window({from, to, pixels, std::move(tracks)}); });
    };
    for (const double wrong : {kNan, HUGE_VAL, -HUGE_VAL}) {
        EXPECT_EQ(window(wrong, 10, 10), "from and to must be numbers");
        EXPECT_EQ(window(0, wrong, 10), "from and to must be numbers");
    }
    EXPECT_EQ(window(-kMost, kMost, 10), "from and to must be numbers");
    EXPECT_EQ(window(10, 10, 10), "to must be behind from");
    EXPECT_EQ(window(10, 5, 10), "to must be behind from");
    EXPECT_EQ(window(0, 10, 0), "pixels must be 1 to 4096");
    EXPECT_EQ(window(0, 10, 4097), "pixels must be 1 to 4096");
    for (const char* id : {"port:256", "port:", "port:-1", "port:1x", "exception:512", "watch:4:read",
                           "watch:0:", "watch", "counter:pmu8", "counter:", "", "PC"}) {
        EXPECT_EQ(window(0, 10, 10, {id}), "there is no such track") << id;
    }
    EXPECT_EQ(window(0, 10, 10, {"port:255", "exception:511", "watch:3:address", "counter:pmu7"}),
              "answered");
    EXPECT_EQ(Refusal([&] { feed->Text({0, 0, 0}); }), "count must be 1 to 1000");
    EXPECT_EQ(Refusal([&] { feed->Text({0, 0, 1001}); }), "count must be 1 to 1000");
    EXPECT_EQ(Refusal([&] { feed->Find({0, "", 0}); }), "text must have 1 to 200 bytes");
    EXPECT_EQ(Refusal([&] { feed->Find({0, std::string(201, 'x'), 0}); }), "text must have 1 to 200 bytes");
    EXPECT_EQ(Refusal([&] { feed->LineAt(0, kNan); }), "time must be a number");
    EXPECT_EQ(Refusal([&] { feed->Ledger(0, 0); }), "count must be 1 to 1000");
    EXPECT_EQ(Refusal([&] { feed->Profile({5, 5}); }), "to must be behind from");
    EXPECT_EQ(Refusal([&] { feed->Profile({kNan, 5}); }), "from and to must be numbers");
    EXPECT_EQ(Refusal([&] { feed->Profile({0, 5, ProfileBy::Line, 257}); }), "columns must be at most 256");
    EXPECT_EQ(Refusal([&] { feed->Events(EventsIn(5, 5)); }), "to must be behind from");
    EXPECT_EQ(Refusal([&] { feed->Events(EventsIn(0, 5, 0)); }), "limit must be 1 to 20000");
    EXPECT_EQ(Refusal([&] { feed->Events(EventsIn(0, 5, 20001)); }), "limit must be 1 to 20000");
    EXPECT_EQ(Refusal([&] {
                  feed->Events(EventsIn(0, 5, 1, 0, {"stimulus", "Stimulus"}));
              }),
              "there is no such kind of packets");
}

TEST(Questions, AboutTextOfAPortOfNumbersAreRefused) {
    RecordingSettings settings;
    settings.ports[0] = {Swo::PortType::U8, "speed"};
    const auto feed = FeedOf(Lines({"a"}), settings);
    EXPECT_EQ(Refusal([&] { feed->Text({0, 0, 1}); }), "port 0 has numbers, no text");
    const Json overview = Json::parse(feed->Overview());
    EXPECT_EQ(overview["tracks"][1]["kind"], "value");
    EXPECT_EQ(overview["tracks"][1]["type"], "u8");
    EXPECT_EQ(overview["tracks"][1]["label"], "speed");
}

TEST(Questions, AboutWindowsBesideTheRecordingShowNothing) {
    const auto feed = FeedOf(Lines({"abc"}));
    for (const auto& [from, to] : std::vector<std::pair<double, double>>{
             {-100, -50}, {1e6, 1e7}, {1e300, 1.5e300}, {-1e300, -1e299}, {11, 11.5}}) {
        for (const bool columns : {false, true}) {
            const ReadWindow window = Read(feed->Window({from, to, 7, {}, columns}));
            EXPECT_EQ(window.tracks.size(), 1U) << from;
            EXPECT_EQ(window.tracks.at("bandwidth").at("bytes"), std::vector<double>(7, 0)) << from;
        }
    }
    const ReadWindow wide = Read(feed->Window({-1e300, 1e300, 3, {}, true}));
    EXPECT_EQ(wide.tracks.at("port:0").at("bytes"), std::vector<double>{4});
    const ReadWindow narrow = Read(feed->Window({10, std::nextafter(10, 11), 4096, {}, false}));
    EXPECT_EQ(narrow.tracks.at("port:0").at("start").size(), 1U);
}

TEST(Questions, OfAnEmptyRecordingAreAnswered) {
    const auto feed = FeedOf({});
    const Json overview = Json::parse(feed->Overview());
    EXPECT_EQ(overview["verdict"]["name"], "no-bytes");
    const double end = overview["axis"]["end"];
    EXPECT_GT(end, 0);
    EXPECT_TRUE(Read(feed->Window({0, end, 10, {}})).header["exact"]);
    EXPECT_EQ(Json::parse(feed->Text({0, 0, 10}))["lines"], 0);
    EXPECT_EQ(Json::parse(feed->Find({0, "x", 0}))["line"], nullptr);
    EXPECT_EQ(Json::parse(feed->Find({0, "x", UINT64_MAX, true}))["line"], nullptr);
    EXPECT_EQ(Json::parse(feed->LineAt(0, 0))["line"], 0);
    EXPECT_EQ(Json::parse(feed->Ledger(0, 1))["total"], 0);
    EXPECT_EQ(Json::parse(feed->Profile({0, end}))["samples"], 0);
}

TEST(TextOfAPort, IsFoundByLineAndByTime) {
    const auto feed = FeedOf(Lines(Numbered(30000)));  // some 60 blocks
    const Json rows = Json::parse(feed->Text({0, 29000, 2}));
    EXPECT_EQ(rows["lines"], 30000);
    EXPECT_EQ(rows["rows"][0]["text"], "line 29000");
    EXPECT_EQ(rows["rows"][0]["time"], 290010);
    EXPECT_EQ(rows["rows"][1]["text"], "line 29001");
    EXPECT_EQ(Json::parse(feed->Text({0, 30000, 5}))["rows"].size(), 0U);
    EXPECT_EQ(Json::parse(feed->Text({0, UINT64_MAX, 5}))["rows"].size(), 0U);
    EXPECT_EQ(Json::parse(feed->LineAt(0, 290010))["line"], 29000);
    EXPECT_EQ(Json::parse(feed->LineAt(0, 290011))["line"], 29001);
    EXPECT_EQ(Json::parse(feed->LineAt(0, -1))["line"], 0);
    EXPECT_EQ(Json::parse(feed->LineAt(0, 1e18))["line"], 30000);
}

/// Asks until there is an answer, as the page does.
Json Found(const Feed& feed, FindQuestion question) {
    for (;;) {
        const Json answer = Json::parse(feed.Find(question));
        if (!answer.contains("next")) return answer["line"];
        question.line = answer["next"];
    }
}

TEST(TextOfAPort, IsSearchedInBothDirections) {
    const auto feed = FeedOf(Lines(Numbered(30000)));
    EXPECT_EQ(Found(*feed, {0, "needle", 0}), 700);
    EXPECT_EQ(Found(*feed, {0, "NEEDLE", 701}), 1700);
    EXPECT_EQ(Found(*feed, {0, "NEEDLE", 701, false, true}), nullptr);
    EXPECT_EQ(Found(*feed, {0, "needle", 28000}), 28700);
    EXPECT_EQ(Found(*feed, {0, "needle", 29701}), nullptr);
    EXPECT_EQ(Found(*feed, {0, "needle", 29999, true}), 29700);
    EXPECT_EQ(Found(*feed, {0, "needle", 29699, true}), 28700);
    EXPECT_EQ(Found(*feed, {0, "needle", 29700, true}), 29700);
    EXPECT_EQ(Found(*feed, {0, "needle", 699, true}), nullptr);
    EXPECT_EQ(Found(*feed, {0, "needle", UINT64_MAX, true}), 29700);
    EXPECT_EQ(Found(*feed, {0, "line 29999", 0}), 29999);
}

/// A line of which each block of the capture holds one letter or a few, and one more behind it.
Bytes SpreadLine(const std::string& spread, size_t apart) {
    Bytes bytes = Lines({"before"});
    for (const char character : spread + "\n") {
        bytes.push_back(0x01);
        bytes.push_back(static_cast<uint8_t>(character));
        for (size_t i = 0; i < apart; i += 5) bytes.insert(bytes.end(), {0x0B, 1, 2, 3, 4});
    }
    const Bytes end = Lines({"behind"});
    bytes.insert(bytes.end(), end.begin(), end.end());
    return bytes;
}

TEST(TextOfAPort, IsFoundInALineThatSpreadsFar) {
    std::string spread(900, '.');
    spread.replace(700, 6, "needle");
    const Bytes capture = SpreadLine(spread, 16384);
    ASSERT_GT(capture.size(), 14 * 1000 * 1000U);
    RecordingSettings settings;
    settings.ports[0].type = Swo::PortType::Text;
    const auto feed = FeedOf(capture, settings);
    EXPECT_EQ(Json::parse(feed->Text({0, 1, 1}))["rows"][0]["text"], spread);
    for (const uint64_t from : {0U, 1U}) {
        EXPECT_EQ(Found(*feed, {0, "needle", from}), 1) << from;
        EXPECT_EQ(Found(*feed, {0, "behind", from}), 2) << from;
        EXPECT_EQ(Found(*feed, {0, "nothing", from}), nullptr) << from;
    }
    EXPECT_EQ(Found(*feed, {0, "needle", 2}), nullptr);
    EXPECT_EQ(Found(*feed, {0, "needle", 2, true}), 1);
    EXPECT_EQ(Found(*feed, {0, "before", 2, true}), 0);
}

/// Of one letter in each block.
TEST(TextOfAPort, IsFoundInTheLongestLineThereIs) {
    std::string spread(Swo::LineSplitter::kLongestLine, '.');
    spread.replace(spread.size() - 6, 6, "needle");
    const Bytes capture = SpreadLine(spread + "more", 2100);
    RecordingSettings settings;
    settings.ports[0].type = Swo::PortType::Text;
    const auto feed = FeedOf(capture, settings);
    EXPECT_EQ(Found(*feed, {0, "needle", 0}), 1);
    EXPECT_EQ(Found(*feed, {0, "more", 0}), 2);
    EXPECT_EQ(Found(*feed, {0, "behind", 1}), 3);
}

TEST(TextOfAPort, MayBeAnyBytes) {
    const auto feed = FeedOf(Lines({"<script>\x01 gr\xC3\xBC\xDF", "crlf\r", "", std::string(5000, 'x')}));
    const Json rows = Json::parse(feed->Text({0, 0, 10}))["rows"];
    ASSERT_EQ(rows.size(), 5U);
    EXPECT_EQ(rows[0]["text"], "<script>\x01 gr\xC3\xBC\xEF\xBF\xBD");
    EXPECT_EQ(rows[1]["text"], "crlf");
    EXPECT_EQ(rows[2]["text"], "");
    EXPECT_EQ(rows[3]["text"], std::string(4096, 'x'));
    EXPECT_EQ(rows[4]["text"], std::string(904, 'x'));
}

/// Every stimulus port writes numbers, again and again.
Bytes ManyPorts(int rounds) {
    Bytes capture;
    for (int i = 0; i < rounds; ++i) {
        for (unsigned port = 0; port < 256; ++port) {
            if (port % 32 == 0) capture.push_back(static_cast<uint8_t>(0x08 | port / 32 << 4));
            capture.insert(capture.end(), {static_cast<uint8_t>(port % 32 << 3 | 2), static_cast<uint8_t>(i),
                                           static_cast<uint8_t>(0x80 + port % 64)});
        }
    }
    return capture;
}

TEST(Window, OfVeryManyRowsHasFewerColumns) {
    const auto feed = FeedOf(ManyPorts(100));
    const Json overview = Json::parse(feed->Overview());
    ASSERT_EQ(overview["tracks"].size(), 257U);
    WindowQuestion question{overview["axis"]["begin"], overview["axis"]["end"], 4096, {}, true};
    EXPECT_EQ(Read(feed->Window(question)).header["pixels"], 400000 / 258);
    question.tracks = {"port:7"};
    EXPECT_EQ(Read(feed->Window(question)).header["pixels"], 4096);
}

TEST(LiveRecording, AFeedIsNewerThanAllThatWereMadeBeforeIt) {
    const Bytes capture = Lines({"first"});
    const auto old = FeedOf(capture);
    RecordingFeed next({}, std::make_shared<MemoryBytes>(capture));
    EXPECT_GT(next.Now().revision, old->Now().revision);
}

TEST(LiveRecording, ShowsWhatHasCome) {
    RecordingSettings settings;
    settings.live = true;
    const Bytes capture = Lines({"first", "second"});
    auto bytes = std::make_shared<MemoryBytes>(capture);
    RecordingFeed feed(settings, bytes);
    const uint64_t before = feed.Now().revision;
    feed.Take(std::span(capture).first(16));
    feed.Idle();
    EXPECT_GT(feed.Now().revision, before);
    EXPECT_TRUE(feed.Now().live);
    EXPECT_EQ(Json::parse(feed.Text({0, 0, 10}))["rows"][0]["text"], "first");
    feed.Take(std::span(capture).subspan(16));
    feed.Finish();
    EXPECT_FALSE(feed.Now().live);
    EXPECT_EQ(feed.Now().indexed, capture.size());
    const Json overview = Json::parse(feed.Overview());
    EXPECT_EQ(overview["axis"]["kind"], "timestamps");
    EXPECT_EQ(overview["complete"], true);
    EXPECT_EQ(Json::parse(feed.Text({0, 1, 10}))["rows"][0]["text"], "second");
}

/// A capture that cannot be read any more.
class Gone : public Swo::CaptureBytes {
  public:
    size_t ReadAt(uint64_t, std::span<uint8_t>) const override { throw std::runtime_error("it is gone"); }
};

TEST(Questions, WhoseBytesCannotBeReadAnyMoreFail) {
    const Bytes capture = Lines({"a"});
    RecordingFeed feed({}, std::make_shared<Gone>());
    feed.Take(capture);
    feed.Finish();
    EXPECT_THROW(feed.Window({0, 10, 10, {}}), std::runtime_error);
    EXPECT_THROW(feed.Events(EventsIn(0, 10)), std::runtime_error);
    EXPECT_THROW(feed.Around(0, 10), std::runtime_error);
    EXPECT_THROW(feed.Text({0, 0, 1}), std::runtime_error);
    EXPECT_THROW(feed.Find({0, "a", 0}), std::runtime_error);
    EXPECT_THROW(feed.LineAt(0, 1), std::runtime_error);
    EXPECT_EQ(Json::parse(feed.Overview())["bytes"], capture.size()) << "what the index has is still told";
}

void AskAnything(const Feed& feed, std::mt19937& random) {
    const double end = feed.Now().end;
    const auto somewhere = [&] { return end * (static_cast<double>(random() % 1300) / 1000 - 0.1); };
    const double from = somewhere();
    const double to = from + std::max(1e-9, end / std::pow(10, static_cast<double>(random() % 9)));
    Read(feed.Window({from, to, static_cast<uint32_t>(1 + random() % 300), {}, random() % 2 == 0}));
    Read(feed.Events(EventsIn(from, to, static_cast<uint32_t>(1 + random() % 300), random() % 50000)));
    const auto port = static_cast<uint8_t>(random() % 256);
    for (const auto& ask : std::vector<std::function<std::string()>>{
             [&] {
                 return feed.Text({port, random() % 50, static_cast<uint32_t>(1 + random() % 1000)});
             },
             [&] {
                 return feed.Find(
                     {port, std::string(1, static_cast<char>(random())), random() % 50, random() % 2 == 0});
             },
             [&] { return feed.LineAt(port, somewhere()); },
             [&] { return feed.Ledger(random() % 100, 1000); },
             [&] {
                 return feed.Profile(
                     {from, to, static_cast<ProfileBy>(random() % 3), static_cast<uint32_t>(random() % 50)});
             },
             [&] { return feed.Overview(); }}) {
        try {
            EXPECT_TRUE(Json::accept(ask()));
        } catch (const BadQuestion&) {  // a port of numbers
        }
    }
}

TEST(HostileCaptures, AreAnsweredOf) {
    for (unsigned seed = 0; seed < 12; ++seed) {
        std::mt19937 random(seed);
        Bytes bytes(random() % 60000);
        for (uint8_t& byte : bytes) {
            byte = static_cast<uint8_t>(random() >> (seed % 3 == 0 ? 0 : 8 * (random() % 4)));
            if (seed % 4 == 1 && random() % 2 == 0) byte = 0x0E;  // exceptions
            if (seed % 4 == 2 && random() % 3 == 0) byte = 0xFF;
        }
        const auto feed = FeedOf(bytes);
        for (int i = 0; i < 5; ++i) AskAnything(*feed, random);
    }
}

class FedFeeds : public testing::TestWithParam<size_t> {};

/// In small pieces, and in large ones, which are decoded on a thread of their own.
TEST_P(FedFeeds, AnswerWhileTheyAreFed) {
    const size_t piece = GetParam();
    Swo::Stream stream = Swo::FirmwareStream(5, piece > 10000 ? 1000000 : 150000, true);
    const auto bytes = std::make_shared<MemoryBytes>(stream.bytes);
    RecordingSettings settings;
    settings.analysis.onTwoThreads = true;
    RecordingFeed feed(settings, bytes);
    std::atomic<bool> done = false;
    std::vector<std::thread> askers;
    std::atomic<int> asked = 0;
    for (unsigned seed = 1; seed <= 3; ++seed) {
        askers.emplace_back([&, seed] {
            std::mt19937 random(seed);
            uint64_t revision = 0;
            do {
                AskAnything(feed, random);
                const uint64_t now = feed.Now().revision;
                EXPECT_GE(now, revision);
                revision = now;
                ++asked;
            } while (!done);
        });
    }
    for (size_t at = 0; at < stream.bytes.size(); at += piece) {
        feed.Take(std::span(stream.bytes).subspan(at, std::min(piece, stream.bytes.size() - at)));
        if (at / piece % 7 == 0) feed.Idle();
    }
    feed.Finish();
    done = true;
    for (std::thread& asker : askers) asker.join();
    EXPECT_GE(asked, 3);
    EXPECT_EQ(feed.Now().indexed, stream.bytes.size());
}

INSTANTIATE_TEST_SUITE_P(Feed, FedFeeds, testing::Values(10000, 600000));

/// More places than the ledger lists.
constexpr int kManyPlaces = 70000;

/// Text, and behind every 120 bytes of it this packet. A part of the capture of which no place is listed
/// begins among the last ones.
Bytes WithMany(const Bytes& packet) {
    Bytes bytes;
    for (int i = 0; i < kManyPlaces; ++i) {
        for (int j = 0; j < 60; ++j) bytes.insert(bytes.end(), {0x01, 'a'});
        bytes.insert(bytes.end(), packet.begin(), packet.end());
    }
    return bytes;
}

/// The marks of all places, of which none is missing, though many are not listed.
Arrays MarksOfMany(const Bytes& packet) {
    const auto feed = FeedOf(WithMany(packet));
    const Json ledger = Json::parse(feed->Ledger(0, 1));
    EXPECT_EQ(ledger["total"], Swo::Ledger::kMostEntries);
    EXPECT_EQ(ledger["unlisted"], kManyPlaces - Swo::Ledger::kMostEntries);
    const Arrays marks = Read(feed->Window({0, feed->Now().end, 100, {"bandwidth"}, true})).marks;
    double counted = 0;
    for (const double count : marks.at("count")) counted += count;
    EXPECT_EQ(counted, kManyPlaces);
    EXPECT_EQ(marks.at("entry").at(0), 0);
    EXPECT_THAT(marks.at("entry"), testing::Contains(4294967295.0));
    return marks;
}

TEST(Marks, OfOverflowsThatAreNotListedAreOfTheTarget) {
    const Arrays marks = MarksOfMany({0x70});
    EXPECT_THAT(marks.at("class"), testing::Each(0));
    EXPECT_THAT(marks.at("hint"), testing::Each(0));
}

TEST(Marks, OfHintsThatAreNotListedAreHints) {
    const Arrays marks = MarksOfMany({0xD0, 10});  // a local timestamp that came late
    EXPECT_THAT(marks.at("class"), testing::Each(0));
    EXPECT_THAT(marks.at("hint"), testing::Each(1));
}

TEST(TrackIds, ComeBack) {
    for (size_t row = 0; row < Swo::kTracks; ++row) {
        const Swo::Track track = Swo::TrackAt(row);
        EXPECT_EQ(TrackOf(IdOf(track)), track) << IdOf(track);
    }
    EXPECT_EQ(IdOf({Swo::TrackKind::WatchWrite, 3}), "watch:3:write");
    EXPECT_EQ(IdOf({Swo::TrackKind::Counter, 5}), "counter:cyc");
    EXPECT_EQ(IdOf({Swo::TrackKind::Counter, 6}), "counter:pmu0");
}

TEST(Stretches, AreToldInWords) {
    EXPECT_EQ(DescribeStretch(3.2e6, "ns"), "3.2 ms");
    EXPECT_EQ(DescribeStretch(999, "ns"), "999 ns");
    EXPECT_EQ(DescribeStretch(1500, "ns"), "1.5 \u00b5s");
    EXPECT_EQ(DescribeStretch(3.6e12, "ns"), "3600 s");
    EXPECT_EQ(DescribeStretch(0.25, "ns"), "0.25 ns");
    EXPECT_EQ(DescribeStretch(12, "ticks"), "12 ticks");
    EXPECT_EQ(DescribeStretch(1e300, "bytes"), "1e+300 bytes");
}

}  // namespace
}  // namespace Korr::Plim::Trace::Viewer
