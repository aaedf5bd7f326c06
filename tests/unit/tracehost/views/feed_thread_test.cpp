// The thread that feeds a capture to a page: what it is told of, in what order, and how it ends.
#include "tracehost/feed_thread.h"

#include <gtest/gtest.h>

#include <cstring>
#include <future>
#include <optional>

#include "tests/unit/tracehost/views/said_text.h"

namespace Korr::Plim::Trace::Tracehost {
namespace {

using views::CaptureOf;
using views::HasLine;
using views::Said;
using views::Soon;

/// The bytes of a capture, of which some are there. Reading can be held up, and can fail. Any thread.
class HeldBytes : public Swo::CaptureBytes {
  public:
    explicit HeldBytes(std::vector<uint8_t> content) : all(std::move(content)), there(all.size()) {}

    void Limit(std::size_t size) {
        const std::lock_guard guard(mutex);
        there = size;
    }
    void Fail(const std::string& why) {
        const std::lock_guard guard(mutex);
        failure = why;
    }
    void Hold(bool on) {
        const std::lock_guard guard(mutex);
        held = on;
        changed.notify_all();
    }
    int Reads() const {
        const std::lock_guard guard(mutex);
        return reads;
    }
    std::size_t ReadAt(uint64_t offset, std::span<uint8_t> buffer) const override {
        std::unique_lock lock(mutex);
        ++reads;
        changed.wait(lock, [this] { return !held; });
        if (!failure.empty()) throw std::runtime_error(failure);
        if (offset >= there) return 0;
        const std::size_t count = std::min(buffer.size(), there - static_cast<std::size_t>(offset));
        std::memcpy(buffer.data(), all.data() + offset, count);
        return count;
    }

  private:
    const std::vector<uint8_t> all;
    mutable std::mutex mutex;  ///< of all below
    mutable std::condition_variable changed;
    mutable int reads = 0;
    std::size_t there;
    std::string failure;
    bool held = false;
};

class FeedThreadTest : public testing::Test {
  protected:
    void Begin(std::vector<uint8_t> content) {
        bytes = std::make_shared<HeldBytes>(std::move(content));
        Viewer::RecordingSettings settings;
        settings.live = true;
        thread.emplace(settings, bytes);
        feed = thread->Feed();
    }
    bool Indexed(uint64_t size) const {
        return Soon([&] { return feed->Now().indexed == size; });
    }
    bool Ended() const {
        return Soon([this] { return !feed->Now().live; });
    }

    std::shared_ptr<HeldBytes> bytes;
    std::shared_ptr<Viewer::RecordingFeed> feed;
    std::optional<FeedThread> thread;
};

TEST_F(FeedThreadTest, FeedsWhatIsToldToBeThereAndNoMore) {
    const std::vector<uint8_t> capture = CaptureOf("first\nsecond\n");
    Begin(capture);
    EXPECT_EQ(bytes->Reads(), 0);
    thread->Grow(18);
    EXPECT_TRUE(Indexed(18));
    EXPECT_EQ(feed->Now().bytes, 18U);
    bytes->Hold(true);
    thread->Grow(20);
    EXPECT_TRUE(Soon([this] { return bytes->Reads() == 2; }));
    thread->Grow(24);
    thread->Grow(4);  // it never falls
    bytes->Hold(false);
    EXPECT_TRUE(Indexed(24));
    thread->Grow(4);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(feed->Now().indexed, 24U);
    EXPECT_TRUE(feed->Now().live);
    thread->Grow(capture.size());
    EXPECT_TRUE(Indexed(capture.size()));
    thread->End(capture.size());
    EXPECT_TRUE(Ended());
    EXPECT_TRUE(HasLine(*feed, "second"));
    EXPECT_EQ(thread->Problem(), "");
}

TEST_F(FeedThreadTest, FeedsLargeCapturesInPieces) {
    const std::vector<uint8_t> capture = CaptureOf(std::string(2'500'000, 'x') + "\nlast\n");
    Begin(capture);
    thread->End(capture.size());
    EXPECT_TRUE(Ended());
    EXPECT_EQ(feed->Now().indexed, capture.size());
    EXPECT_GE(bytes->Reads(), 4);
    EXPECT_NE(feed->Text({0, 0, 1000}).find("\"text\":\"last\""), std::string::npos);
}

TEST_F(FeedThreadTest, ShowsToItsEndWhatCameWhenNothingMoreComes) {
    Begin(CaptureOf("said\n"));
    thread->Grow(CaptureOf("said\n").size());
    EXPECT_TRUE(Soon([this] { return HasLine(*feed, "said"); }));
    EXPECT_TRUE(feed->Now().live);
    bool rests = false;  // a busy machine may be late with what is left to be done
    for (int i = 0; i < 10 && !rests; ++i) {
        const uint64_t revision = feed->Now().revision;
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
        rests = feed->Now().revision == revision;
    }
    EXPECT_TRUE(rests) << "once: nothing changes any more";
}

TEST_F(FeedThreadTest, WhatTheHostKnowsIsAddedAtTheEndOnItsOwnThread) {
    Begin(CaptureOf("said\n"));
    std::thread::id changedBy;
    thread->End(16, [&](Swo::CaptureAnalysis& analysis) {
        changedBy = std::this_thread::get_id();
        EXPECT_EQ(analysis.Bytes(), 16U);
        analysis.Losses().OnHost(Swo::LossKind::PortLost, 1, analysis.Bytes());
    });
    EXPECT_TRUE(Ended());
    EXPECT_NE(feed->Ledger(0, 10).find("\"kind\":\"port-lost\""), std::string::npos);
    EXPECT_NE(changedBy, std::this_thread::get_id());
    EXPECT_NE(changedBy, std::thread::id());
}

TEST_F(FeedThreadTest, WhoAsksForItsProblemDoesNotWaitForWhatIsAddedAtTheEnd) {
    Begin(CaptureOf("first\n"));
    std::future<std::string> problem;
    auto answered = std::future_status::timeout;
    thread->End(16, [&](Swo::CaptureAnalysis&) {
        problem = std::async(std::launch::async, [this] { return thread->Problem(); });
        answered = problem.wait_for(std::chrono::seconds(5));
    });
    EXPECT_TRUE(Ended());
    EXPECT_EQ(answered, std::future_status::ready);
}

TEST_F(FeedThreadTest, ArrivalsAreTheAxisOfACaptureWithoutTimestamps) {
    Begin(CaptureOf("said\n"));
    thread->SetArrivals({{0, 0}, {500, 8}, {2000, 16}});
    thread->End(16);
    EXPECT_TRUE(Ended());
    EXPECT_NE(feed->Overview().find("\"kind\":\"arrival\""), std::string::npos) << feed->Overview();
    EXPECT_NEAR(feed->Now().end, 2e9, 1) << "behind the last packet";
}

TEST_F(FeedThreadTest, FailureToReadEndsTheFeedAndIsTold) {
    Begin(CaptureOf("first\nsecond\n"));
    thread->Grow(18);
    EXPECT_TRUE(Indexed(18));
    bytes->Fail("the disk is gone");
    thread->Grow(20);
    EXPECT_TRUE(Ended());
    EXPECT_EQ(thread->Problem(), "the disk is gone");
    EXPECT_EQ(feed->Now().indexed, 18U);
    EXPECT_EQ(feed->Now().bytes, 18U) << "what cannot be read is not waited for";
    const int reads = bytes->Reads();
    thread->Grow(30);  // whoever records does not know
    thread->SetArrivals({{0, 0}});
    thread->End(30);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(bytes->Reads(), reads);
    EXPECT_EQ(thread->Problem(), "the disk is gone");
}

TEST_F(FeedThreadTest, BytesThatAreNotThereYetAreWaitedFor) {
    const std::vector<uint8_t> capture = CaptureOf("first\n");
    Begin(capture);
    bytes->Limit(10);
    thread->Grow(capture.size());
    EXPECT_TRUE(Indexed(10));
    EXPECT_EQ(thread->Problem(), "");
    bytes->Limit(capture.size());
    EXPECT_TRUE(Indexed(capture.size())) << "without being told once more";
    EXPECT_EQ(thread->Problem(), "");
}

TEST_F(FeedThreadTest, CaptureThatIsShorterThanItWasIsShownAsFarAsItGoesAndThatIsTold) {
    Begin(CaptureOf("first\nsecond\n"));
    bytes->Limit(18);
    thread->End(32);
    EXPECT_TRUE(Ended());
    EXPECT_EQ(feed->Now().indexed, 18U);
    EXPECT_EQ(feed->Now().bytes, 18U);
    EXPECT_EQ(thread->Problem(),
              "the capture cannot be read beyond 18 bytes: did it become shorter while it was read?");
}

TEST_F(FeedThreadTest, WhoTellsItOfBytesNeverWaitsForAReader) {
    Begin(CaptureOf(std::string(100'000, 'x')));
    bytes->Hold(true);
    thread->Grow(10);
    EXPECT_TRUE(Soon([this] { return bytes->Reads() == 1; }));
    auto told = std::async(std::launch::async, [this] {
        for (uint64_t size = 11; size < 100'000; ++size) thread->Grow(size);
        thread->SetArrivals({{0, 0}, {1, 10}});
        thread->End(200'000);
    });
    EXPECT_EQ(told.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    EXPECT_EQ(bytes->Reads(), 1);
    bytes->Hold(false);
    told.get();
    EXPECT_TRUE(Ended());
}

TEST_F(FeedThreadTest, EndsWhereverItIsAndReadsNothingMore) {
    Begin(CaptureOf(std::string(2'000'000, 'x')));
    bytes->Hold(true);
    thread->End(4'000'000);
    EXPECT_TRUE(Soon([this] { return bytes->Reads() == 1; }));
    auto ended = std::async(std::launch::async, [this] { thread.reset(); });
    EXPECT_EQ(ended.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    bytes->Hold(false);
    EXPECT_EQ(ended.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    EXPECT_EQ(bytes->Reads(), 1) << "of four pieces";
    EXPECT_TRUE(feed->Now().live) << "whoever still looks is not told an end that was none";
    EXPECT_EQ(bytes.use_count(), 2) << "the feed's and this test's";
}

TEST_F(FeedThreadTest, EndsAtOnceWhenItHasNothingToDo) {
    for (const bool concluded : {false, true}) {
        Begin(CaptureOf("said\n"));
        if (concluded) {
            thread->End(16);
            EXPECT_TRUE(Ended());
        }
        thread.reset();
        EXPECT_EQ(feed->Now().live, !concluded);
    }
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tracehost
