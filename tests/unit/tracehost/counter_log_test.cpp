#include "tracehost/counter_log.h"

#include <gtest/gtest.h>

namespace Korr::Plim::Trace::Tracehost {

namespace {

TEST(CounterLog, HasNothingBeforeTheFirstLook) {
    const CounterLog log;
    EXPECT_FALSE(log.First());
    EXPECT_FALSE(log.Last());
    EXPECT_TRUE(log.Growth().empty());
}

TEST(CounterLog, KeepsWhereCountersGrew) {
    CounterLog log;
    log.Add({10, 20, 30, 40, 50}, 100);
    log.Add({10, 20, 30, 40, 50}, 200);
    log.Add({11, 22, 30, 40, 50}, 300);
    log.Add({11, 22, 33, 44, 55}, 400);
    EXPECT_EQ(log.First(), (PortCounters{10, 20, 30, 40, 50}));
    EXPECT_EQ(log.Last(), (PortCounters{11, 22, 33, 44, 55}));
    const std::vector<CounterGrowth> expected = {{300, {1, 2, 0, 0, 0}}, {400, {0, 0, 3, 4, 5}}};
    EXPECT_EQ(log.Growth(), expected);
}

TEST(CounterLog, ACounterThatBeginsAnewHasNotGrown) {
    CounterLog log;
    log.Add({10, 0, 0, 0, 0}, 100);
    log.Add({2, 1, 0, 0, 0}, 200);
    const std::vector<CounterGrowth> expected = {{200, {0, 1, 0, 0, 0}}};
    EXPECT_EQ(log.Growth(), expected);
    EXPECT_EQ(GrownBy({5, 5, 5, 5, 5}, {4, 5, 6, 7, 8}), (PortCounters{0, 0, 1, 2, 3}));
    EXPECT_EQ(SumOf({1, 2, 3, 4, 5}), 15U);
}

TEST(CounterLog, ManyPlacesBecomeFewerThatSayTheSame) {
    CounterLog log;
    PortCounters now;
    for (uint64_t look = 0; look <= kMostCounterGrowths; ++look) {
        log.Add(now, 10 * look);
        ++now.overrun;
        now.breaks += 2;
    }
    ASSERT_EQ(log.Growth().size(), kMostCounterGrowths);
    EXPECT_EQ(log.Growth().front(), (CounterGrowth{10, {1, 0, 0, 0, 2}}));
    log.Add(now, 10 * (kMostCounterGrowths + 1));
    ASSERT_EQ(log.Growth().size(), kMostCounterGrowths / 2 + 1);
    EXPECT_EQ(log.Growth()[0], (CounterGrowth{20, {2, 0, 0, 0, 4}}));
    EXPECT_EQ(log.Growth()[1], (CounterGrowth{40, {2, 0, 0, 0, 4}}));
    EXPECT_EQ(log.Growth().back(), (CounterGrowth{10 * (kMostCounterGrowths + 1), {1, 0, 0, 0, 2}}));
    for (int look = 0; look < 5000; ++look) {
        ++now.overrun;
        log.Add(now, 20'000);
    }
    PortCounters sum;
    for (const CounterGrowth& growth : log.Growth()) sum.overrun += growth.by.overrun;
    EXPECT_EQ(sum.overrun, now.overrun);
    EXPECT_LE(log.Growth().size(), kMostCounterGrowths);
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
