#include "simulator/swosource/signal/uart_receiver.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace Korr::Plim::Trace::Simulator {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes AllBytes() {
    Bytes bytes(256);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i);
    return bytes;
}

Bytes Receive(double sender, double receiver, const Bytes& sent, uint64_t* framingErrors = nullptr) {
    UartReceiver uart(sender, receiver);
    Bytes received;
    for (const uint8_t byte : sent) uart.Send(byte, received);
    uart.Idle(30, received);
    if (framingErrors != nullptr) *framingErrors = uart.FramingErrors();
    return received;
}

TEST(UartReceiver, ReceivesWhatIsSentAtTheSameRate) {
    uint64_t framingErrors = 1;
    EXPECT_EQ(Receive(2e6, 2e6, AllBytes(), &framingErrors), AllBytes());
    EXPECT_EQ(framingErrors, 0U);
}

TEST(UartReceiver, ToleratesASmallDifference) {
    EXPECT_EQ(Receive(2e6, 2e6 * 1.03, AllBytes()), AllBytes());
    EXPECT_EQ(Receive(2e6, 2e6 * 0.97, AllBytes()), AllBytes());
}

TEST(UartReceiver, GarblesWhatIsSentAtAnotherRate) {
    for (const double factor : {0.5, 0.8, 0.93, 1.08, 1.3, 2.0}) {
        uint64_t framingErrors = 0;
        EXPECT_NE(Receive(1e6, 1e6 * factor, AllBytes(), &framingErrors), AllBytes()) << factor;
        // At half the rate the tenth sample always falls on the stop bit of the next byte.
        if (factor != 0.5) {
            EXPECT_GT(framingErrors, 0U) << factor;
        }
    }
}

/// 0x55 at twice the rate: every bit is seen twice.
TEST(UartReceiver, SeesEveryBitTwiceAtTwiceTheRate) {
    // Line: 0 1010 1010 1, bits of 2 samples: start 0, then 0 11 00 11 0 | 0 is no stop bit.
    const Bytes received = Receive(1e6, 2e6, {0x55});
    ASSERT_FALSE(received.empty());
    EXPECT_EQ(received[0], 0x66);
}

TEST(UartReceiver, SeesEverySecondBitAtHalfTheRate) {
    // 0xFF then idle: the start bit is as short as half a bit of the receiver, and is over when it looks.
    EXPECT_TRUE(Receive(2e6, 1e6, {0xFF}).empty());
    // 0x00 holds the line for 9 bits: start and three low bits; the next sample, at the end of the 9th, is
    // high.
    EXPECT_EQ(Receive(2e6, 1e6, {0x00}), Bytes{0xF8});
}

TEST(UartReceiver, GivesMoreBytesWhenItIsFasterAndFewerWhenItIsSlower) {
    EXPECT_GT(Receive(1e6, 4e6, AllBytes()).size(), AllBytes().size());
    EXPECT_LT(Receive(4e6, 1e6, AllBytes()).size(), AllBytes().size());
}

TEST(UartReceiver, GarblesTheSameWayEveryTime) {
    EXPECT_EQ(Receive(2e6, 1.7e6, AllBytes()), Receive(2e6, 1.7e6, AllBytes()));
}

TEST(UartReceiver, KeepsWorkingOverMillionsOfBits) {
    UartReceiver uart(2e6, 2e6);
    Bytes received;
    for (int i = 0; i < 300'000; ++i) uart.Send(static_cast<uint8_t>(i), received);
    uart.Idle(10, received);
    ASSERT_EQ(received.size(), 300'000U);
    EXPECT_EQ(received.back(), static_cast<uint8_t>(299'999));
    EXPECT_EQ(uart.FramingErrors(), 0U);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Simulator
