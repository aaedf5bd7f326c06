// Packets as they are, and where they stand.
#include "viewer/recording_feed.h"

#include <gtest/gtest.h>

#include "tests/unit/trace/itm_encoder.h"
#include "tests/unit/viewer/memory_bytes.h"
#include "tests/unit/viewer/window_reader.h"

namespace Korr::Plim::Trace::Viewer {
namespace {

using Swo::Bytes;

/// All packets of a stretch, asked for in answers of so many.
std::vector<ReadWindow> AskAll(const RecordingFeed& feed, EventsQuestion question) {
    std::vector<ReadWindow> answers;
    for (;;) {
        answers.push_back(Read(feed.Events(question)));
        const Json next = answers.back().header["next"];
        if (next.is_null() || answers.size() > 10000) return answers;
        EXPECT_GT(next, question.offset);
        question.offset = next;
    }
}

std::vector<double> All(const std::vector<ReadWindow>& answers, const std::string& name) {
    std::vector<double> all;
    for (const ReadWindow& answer : answers) {
        const std::vector<double>& some = answer.tracks.at("events").at(name);
        all.insert(all.end(), some.begin(), some.end());
    }
    return all;
}

std::string KindOf(const ReadWindow& answer, size_t i) {
    return answer.header["kinds"][static_cast<size_t>(answer.tracks.at("events").at("kind")[i])];
}

TEST(Events, AreToldAsTheyWereSent) {
    //                  text    a number            an exception is entered     ticks        a sample of the
    //                  PC
    const Bytes bytes = {0x01, 'a',  0x1B, 1,    2, 3, 0x80, 0x0E, 0x0F,
                         0x10, 0xC0, 0x0A, 0x17, 4, 3, 2,    8,    0x70};
    const ReadWindow answer = Read(FeedOf(bytes)->Events(EventsIn(0, 1e9)));
    const Arrays& events = answer.tracks.at("events");
    ASSERT_EQ(events.at("kind").size(), 6U);
    EXPECT_EQ(KindOf(answer, 0), "stimulus");
    EXPECT_EQ(KindOf(answer, 2), "exception");
    EXPECT_EQ(KindOf(answer, 3), "local-time");
    EXPECT_EQ(KindOf(answer, 4), "pc-sample");
    EXPECT_EQ(KindOf(answer, 5), "overflow");
    EXPECT_EQ(events.at("offset"), (std::vector<double>{0, 2, 7, 10, 12, 17}));
    EXPECT_EQ(events.at("source"), (std::vector<double>{0, 3, 15, 0, 0, 0}));
    EXPECT_EQ(events.at("size"), (std::vector<double>{1, 4, 2, 1, 4, 0}));
    EXPECT_EQ(events.at("value")[1], 0x80030201);
    EXPECT_EQ(events.at("value")[4], 0x08020304);
    EXPECT_EQ(events.at("function"), (std::vector<double>{0, 0, 1, 0, 0, 0}));
    EXPECT_EQ(answer.header["next"], nullptr);
}

TEST(Events, OfAPacketThatIsNotWholeYetWaitForIt) {
    const Bytes bytes = {0x01, 'a', 0xC0, 0x0A, 0x1B, 1, 2};  // two bytes of four have come
    RecordingSettings settings;
    settings.live = true;
    RecordingFeed feed(settings, std::make_shared<MemoryBytes>(bytes));
    feed.Take(bytes);
    feed.Idle();
    EXPECT_EQ(All(AskAll(feed, EventsIn(0, 1e9)), "offset"), (std::vector<double>{0, 2}));
    feed.Finish();
    const ReadWindow answer = Read(feed.Events(EventsIn(0, 1e9)));
    EXPECT_EQ(answer.tracks.at("events").at("offset"), (std::vector<double>{0, 2, 4}));
    EXPECT_EQ(KindOf(answer, 2), "truncated-end");
}

TEST(Events, ComeInPartsWithoutOneTwiceOrMissing) {
    const auto feed = FeedOf(Swo::FirmwareStream(4, 30000, true).bytes);
    const double end = feed->Now().end;
    const std::vector<ReadWindow> once = AskAll(*feed, EventsIn(0, end));
    const std::vector<ReadWindow> parts = AskAll(*feed, EventsIn(0, end, 777));
    EXPECT_GT(parts.size(), 30U);
    EXPECT_EQ(All(parts, "offset"), All(once, "offset"));
    EXPECT_EQ(All(parts, "time"), All(once, "time"));
    EXPECT_EQ(All(parts, "value"), All(once, "value"));
    for (const ReadWindow& part : parts) EXPECT_LE(part.tracks.at("events").at("time").size(), 777U);
}

TEST(Events, AreThoseOfTheStretchAndOfTheKinds) {
    const auto feed = FeedOf(Swo::FirmwareStream(4, 30000, true).bytes);
    const double end = feed->Now().end;
    const std::vector<double> all = All(AskAll(*feed, EventsIn(0, end)), "time");
    std::vector<double> some;
    for (const double time : all) {
        if (time >= end / 3 && time < end / 2) some.push_back(time);
    }
    EXPECT_EQ(All(AskAll(*feed, EventsIn(end / 3, end / 2, 1000)), "time"), some);
    const auto exceptions = AskAll(*feed, EventsIn(0, end, 20000, 0, {"exception", "pc-sample"}));
    for (const ReadWindow& part : exceptions) {
        for (size_t i = 0; i < part.tracks.at("events").at("kind").size(); ++i) {
            const std::string kind = KindOf(part, i);
            EXPECT_TRUE(kind == "exception" || kind == "pc-sample") << kind;
        }
    }
    EXPECT_GT(All(exceptions, "time").size(), 100U);
    EXPECT_TRUE(All(AskAll(*feed, EventsIn(0, end, 5, 0, {"pmu-overflow"})), "time").empty());
}

/// What holds none of the wanted packets is not decoded to its end in one answer.
TEST(Events, OfALongStretchAreAskedForOnwards) {
    Bytes bytes(20'000'000, 0x70);
    bytes.push_back(0x0E), bytes.push_back(0x0F), bytes.push_back(0x10);
    const auto answers = AskAll(*FeedOf(bytes), EventsIn(0, 1e12, 20000, 0, {"exception"}));
    EXPECT_EQ(answers.size(), 3U);
    EXPECT_EQ(All(answers, "offset"), std::vector<double>{20'000'000});
}

TEST(Around, HoldsSoManyPacketsOnEachSide) {
    const auto feed = FeedOf(Swo::FirmwareStream(4, 100000, true).bytes);
    const double end = feed->Now().end;
    const std::vector<ReadWindow> all = AskAll(*feed, EventsIn(0, end));
    const std::vector<double> offsets = All(all, "offset");
    const std::vector<double> times = All(all, "time");
    for (const size_t i : {size_t{0}, size_t{7}, size_t{5000}, offsets.size() / 2, offsets.size() - 1}) {
        const AxisStretch found = feed->Around(static_cast<uint64_t>(offsets[i]), 1000);
        EXPECT_EQ(found.from, i == 0 ? 0 : times[i - std::min<size_t>(i, 1000)]) << i;
        EXPECT_EQ(found.to, i + 1000 < times.size() - 1 ? times[i + 1001] : end) << i;
    }
    EXPECT_LT(FeedOf({})->Around(0, 1000).from, FeedOf({})->Around(0, 1000).to);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Viewer
