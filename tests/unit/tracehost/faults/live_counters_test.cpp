// What a recording and its port's counters tell while it is made: the counters are scripted.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "tracehost/live_analysis.h"

namespace {
Korr::Plim::Trace::Tracehost::PortGlance glance;
}

namespace Korr::Plim::Trace::Tracehost {

PortGlance LookAtPort(uint32_t) { return glance; }

namespace {

class LiveCounters : public testing::Test {
  protected:
    void SetUp() override {
        glance = {};
        glance.counters = PortCounters{100, 0, 7, 0, 0};
        request.port = 5;
    }
    /// So many bytes of whole packets come, and then the counters are looked at.
    void Come(std::size_t packets) {
        for (std::size_t i = 0; i < packets; ++i) live.Take(std::vector<uint8_t>{0x01, 'h'});
        std::this_thread::sleep_for(std::chrono::milliseconds(110));  // the pause between two looks
        live.WatchPort(5);
    }
    RecordingSheet End() {
        RecordingResult result;
        result.parts.emplace_back();
        return live.EndPart(result);
    }

    RecordRequest request;
    LiveAnalysis live{request, nullptr};
};

TEST_F(LiveCounters, GrowthIsToldAtOnceAndHasItsPlace) {
    Come(50);
    EXPECT_EQ(live.Line(), "lost: 0 overflows, 0 damaged") << "what was counted before is another's";
    glance.counters = PortCounters{103, 0, 7, 0, 0};
    Come(50);
    EXPECT_EQ(live.Line(), "lost: 0 overflows, 3 damaged");
    glance.counters = PortCounters{103, 1, 7, 0, 0};
    Come(100);
    EXPECT_EQ(live.Line(), "lost: 0 overflows, 4 damaged");
    live.Take(std::vector<uint8_t>{0x01, 'h'});
    const RecordingSheet sheet = End();
    EXPECT_EQ(live.Line(), "lost: 0 overflows, 4 damaged") << "counted once";
    EXPECT_EQ(sheet.countersBefore, (PortCounters{100, 0, 7, 0, 0}));
    EXPECT_EQ(sheet.countersAfter, (PortCounters{103, 1, 7, 0, 0}));
    const std::vector<CounterGrowth> expected = {{200, {3, 0, 0, 0, 0}}, {400, {0, 1, 0, 0, 0}}};
    EXPECT_EQ(sheet.counterGrowth, expected);
    EXPECT_EQ(sheet.ledger.at("driver-overrun"), 3U);
    EXPECT_EQ(sheet.ledger.at("driver-buffer-overrun"), 1U);
}

TEST_F(LiveCounters, EveryPartHasItsOwn) {
    Come(50);
    glance.counters = PortCounters{103, 0, 7, 0, 0};
    Come(50);
    End();
    Come(10);
    EXPECT_TRUE(End().counterGrowth.empty());
    EXPECT_EQ(live.Line(), "lost: 0 overflows, 3 damaged");
}

TEST_F(LiveCounters, WhatIsCapturedBeyondTheBytesWantedIsNotLookedAt) {
    request.bytes = 8;
    live.Take(std::vector<uint8_t>{0x01, 'h', 0x01, 'e', 0x01, 'l', 0x01, 'l', 0x04, 0x04, 0x04});
    live.Take(std::vector<uint8_t>{0x04, 0x04});
    RecordingResult result;
    result.parts.emplace_back();
    result.bytes = 8;
    const RecordingSheet sheet = live.EndPart(result);
    EXPECT_TRUE(sheet.ledger.empty());
    EXPECT_EQ(sheet.arrivals.back().bytes, 8U);
    request.bytes = 10;
    live.Take(std::vector<uint8_t>{0x01, 'o', 0x04});
    result.bytes = 10;
    EXPECT_EQ(live.EndPart(result).arrivals.back().bytes, 2U) << "of the next part";
    EXPECT_EQ(live.Line(), "lost: 0 overflows, 0 damaged");
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
