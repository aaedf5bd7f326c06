#include "simulator/swosource/signal/wire_clock.h"

#include <gtest/gtest.h>

namespace Korr::Plim::Trace::Simulator {
namespace {

constexpr int64_t kMillisecond = 1'000'000;

TEST(WireClock, StartsAtTheFirstLook) {
    WireClock clock(2 * kMillisecond);
    EXPECT_EQ(clock.Advance(987'654'321, 1e6), 0U);
}

TEST(WireClock, LosesNoFractionOfAByte) {
    WireClock clock(2 * kMillisecond);
    uint64_t bytes = 0;
    for (int64_t i = 0; i <= 30'000; ++i) bytes += clock.Advance(i * 333'333, 123'457);
    EXPECT_NEAR(static_cast<double>(bytes), 30'000 * 333'333e-9 * 123'457, 1.0);
    EXPECT_DOUBLE_EQ(clock.WireSeconds(), 30'000 * 333'333e-9);
    EXPECT_EQ(clock.Lags(), 0U);
}

TEST(WireClock, StandsStillWhileItsOwnerDoesNotRun) {
    WireClock clock(2 * kMillisecond);
    clock.Advance(0, 1e6);
    EXPECT_EQ(clock.Advance(50 * kMillisecond, 1e6), 2000U);
    EXPECT_EQ(clock.Advance(51 * kMillisecond, 1e6), 1000U);
    EXPECT_EQ(clock.Lags(), 1U);
    EXPECT_DOUBLE_EQ(clock.LagSeconds(), 0.048);
    EXPECT_DOUBLE_EQ(clock.LongestLagSeconds(), 0.048);
    EXPECT_DOUBLE_EQ(clock.WireSeconds(), 0.003);
}

TEST(WireClock, AStepOfExactlyTheLongestIsNoLag) {
    WireClock clock(2 * kMillisecond);
    clock.Advance(0, 1e6);
    EXPECT_EQ(clock.Advance(2 * kMillisecond, 1e6), 2000U);
    EXPECT_EQ(clock.Lags(), 0U);
}

TEST(WireClock, AddsLagsUpAndKeepsTheLongest) {
    WireClock clock(kMillisecond);
    clock.Advance(0, 1);
    clock.Advance(4 * kMillisecond, 1);
    clock.Advance(10 * kMillisecond, 1);
    clock.Advance(12 * kMillisecond, 1);
    EXPECT_EQ(clock.Lags(), 3U);
    EXPECT_DOUBLE_EQ(clock.LagSeconds(), 0.009);
    EXPECT_DOUBLE_EQ(clock.LongestLagSeconds(), 0.005);
}

TEST(WireClock, RestingIsNeitherWireTimeNorLag) {
    WireClock clock(2 * kMillisecond);
    clock.Advance(0, 1e6);
    clock.Rest(500 * kMillisecond);
    EXPECT_EQ(clock.Advance(501 * kMillisecond, 1e6), 1000U);
    EXPECT_EQ(clock.Lags(), 0U);
    EXPECT_DOUBLE_EQ(clock.WireSeconds(), 0.001);
}

TEST(WireClock, ATimeThatGoesBackGivesNothing) {
    WireClock clock(2 * kMillisecond);
    clock.Advance(10 * kMillisecond, 1e6);
    EXPECT_EQ(clock.Advance(9 * kMillisecond, 1e6), 0U);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Simulator
