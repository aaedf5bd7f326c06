// A feed whose place another one takes while pages ask.
#include "tracehost/feed_switch.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <thread>
#include <vector>

#include "tests/fakes/scripted_feed.h"
#include "tests/unit/tracehost/views/said_text.h"

namespace Korr::Plim::Trace::Tracehost {
namespace {

using fakes::ScriptedFeed;
using Viewer::FeedState;

/// Every question of a feed, with numbers of its own.
const std::vector<std::pair<std::string, std::function<std::string(const Viewer::Feed&)>>> kQuestions = {
    {"overview", [](const Viewer::Feed& feed) { return feed.Overview(); }},
    {"window 1.000000 2.000000 3 port:4",
     [](const Viewer::Feed& feed) {
         return feed.Window({1, 2, 3, {"port:4"}, false});
     }},
    {"text 5 6 7",
     [](const Viewer::Feed& feed) {
         return feed.Text({5, 6, 7});
     }},
    {"find 8 sought 9 back case",
     [](const Viewer::Feed& feed) {
         return feed.Find({8, "sought", 9, true, true});
     }},
    {"events 1.000000 2.000000 3 4 overflow",
     [](const Viewer::Feed& feed) {
         return feed.Events({1, 2, 3, 4, {"overflow"}});
     }},
    {"line 10 11.000000", [](const Viewer::Feed& feed) { return feed.LineAt(10, 11); }},
    {"ledger 12 13", [](const Viewer::Feed& feed) { return feed.Ledger(12, 13); }},
    {"profile 14.000000 15.000000 address 16",
     [](const Viewer::Feed& feed) {
         return feed.Profile({14, 15, Viewer::ProfileBy::Address, 16});
     }},
};

/// A feed that takes its time for a window, until it is told to answer.
class SlowFeed : public ScriptedFeed {
  public:
    std::string Window(const Viewer::WindowQuestion& question) const override {
        asked = true;
        views::Soon([this] { return answers.load(); });
        return ScriptedFeed::Window(question);
    }
    mutable std::atomic<bool> asked{false};
    std::atomic<bool> answers{false};
};

TEST(FeedSwitch, BeforeTheFirstFeedARecordingIsYetToCome) {
    const FeedSwitch feeds;
    const FeedState now = feeds.Now();
    EXPECT_TRUE(now.live);
    EXPECT_EQ(now.revision, 0U);
    EXPECT_EQ(now.bytes, 0U);
    for (const auto& [name, ask] : kQuestions) {
        try {
            ask(feeds);
            ADD_FAILURE() << name;
        } catch (const std::runtime_error& failure) {
            EXPECT_STREQ(failure.what(), "the recording has not begun yet") << name;
        }
    }
}

TEST(FeedSwitch, HandsEveryQuestionOn) {
    FeedSwitch feeds;
    const auto shown = std::make_shared<ScriptedFeed>();
    shown->Set({3, 100, 50, 2.5, false});
    feeds.Show(shown);
    EXPECT_EQ(feeds.Now().revision, 3U);
    EXPECT_EQ(feeds.Now().indexed, 50U);
    EXPECT_FALSE(feeds.Now().live);
    std::vector<std::string> names;
    for (const auto& [name, ask] : kQuestions) {
        EXPECT_EQ(ask(feeds), name);
        names.push_back(name);
    }
    EXPECT_EQ(shown->Asked(), names);
}

TEST(FeedSwitch, TroubleIsToldBesideWhatIsShownUntilTheNextFeed) {
    FeedSwitch feeds;
    EXPECT_EQ(feeds.Now().trouble, "");
    feeds.Tell("nothing came");
    EXPECT_EQ(feeds.Now().trouble, "nothing came");
    EXPECT_TRUE(feeds.Now().live);
    const auto shown = std::make_shared<ScriptedFeed>();
    shown->Set({3, 100, 50, 2.5, true});
    feeds.Show(shown);
    EXPECT_EQ(feeds.Now().trouble, "");
    feeds.Tell("no more of it");
    EXPECT_EQ(feeds.Now().trouble, "no more of it");
    EXPECT_EQ(feeds.Now().revision, 3U);
    EXPECT_EQ(feeds.Overview(), "overview") << "what is there is still answered";
}

TEST(FeedSwitch, FailuresOfAFeedComeThroughAsTheyAre) {
    FeedSwitch feeds;
    const auto shown = std::make_shared<ScriptedFeed>();
    feeds.Show(shown);
    shown->Fail("asked wrongly", true);
    EXPECT_THROW(feeds.Text({1, 2, 3}), Viewer::BadQuestion);
    shown->Fail("cannot be read", false);
    try {
        feeds.Overview();
        FAIL();
    } catch (const Viewer::BadQuestion&) {
        FAIL();
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(), "cannot be read");
    }
}

TEST(FeedSwitch, NextFeedIsAskedFromThenOnAndTheOldOneGoes) {
    FeedSwitch feeds;
    auto one = std::make_shared<ScriptedFeed>();
    const std::weak_ptr<ScriptedFeed> old = one;
    feeds.Show(std::move(one));
    feeds.Overview();
    const auto next = std::make_shared<ScriptedFeed>();
    next->Set({9, 0, 0, 0, true});
    feeds.Show(next);
    EXPECT_TRUE(old.expired());
    EXPECT_EQ(feeds.Now().revision, 9U);
    feeds.Ledger(1, 2);
    EXPECT_EQ(next->Asked(), std::vector<std::string>{"ledger 1 2"});
}

TEST(FeedSwitch, ExchangeUnderAnOpenQuestionWaitsForNobodyAndTheQuestionIsAnswered) {
    FeedSwitch feeds;
    auto slow = std::make_shared<SlowFeed>();
    const std::weak_ptr<SlowFeed> old = slow;
    feeds.Show(slow);
    auto answer = std::async(std::launch::async, [&feeds] { return feeds.Window({1, 2, 3, {}, false}); });
    EXPECT_TRUE(views::Soon([&] { return slow->asked.load(); }));
    const auto next = std::make_shared<ScriptedFeed>();
    feeds.Show(next);
    EXPECT_EQ(feeds.Overview(), "overview");
    EXPECT_EQ(next->Asked().size(), 1U) << "others are answered by the next meanwhile";
    slow->answers = true;
    slow.reset();
    EXPECT_EQ(answer.get(), "window 1.000000 2.000000 3");
    EXPECT_TRUE(old.expired()) << "it lives as long as somebody asks it";
}

TEST(FeedSwitch, FeedsAreExchangedWhileManyAsk) {
    FeedSwitch feeds;
    feeds.Show(std::make_shared<ScriptedFeed>());
    std::atomic<bool> stop{false};
    std::atomic<int> wrong{0};
    std::vector<std::thread> asking;
    for (int i = 0; i < 4; ++i) {
        asking.emplace_back([&] {
            uint64_t last = 0;
            while (!stop) {
                const uint64_t revision = feeds.Now().revision;
                if (revision < last || feeds.Text({1, 2, 3}) != "text 1 2 3") ++wrong;
                last = revision;
            }
        });
    }
    for (uint64_t revision = 1; revision <= 1000; ++revision) {
        const auto next = std::make_shared<ScriptedFeed>();
        next->Set({revision, 0, 0, 0, true});
        feeds.Show(next);
    }
    stop = true;
    for (std::thread& thread : asking) thread.join();
    EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tracehost
