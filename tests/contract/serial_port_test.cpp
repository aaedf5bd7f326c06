#include "uart/serial_port.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "tests/contract/probe.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

constexpr uint32_t kAbsentPort = 251;

class SerialPortContract : public ::testing::Test {
  protected:
    void SetUp() override {
        probe = Probe::Plug();
        ASSERT_NE(probe, nullptr);
        ASSERT_TRUE(port.Open(probe->PortNumber())) << SerialPort::LastError();
    }
    void TearDown() override {
        if (port.IsOpen()) port.Close();
    }

    // As a collector does before its first read.
    void Configure() {
        ASSERT_TRUE(port.SetPollingTimeouts());
        LineState state;
        ASSERT_TRUE(port.GetState(state));
        state.baudRate = 115200;
        state.dataBits = 8;
        state.parity = state.stopBits = 0;
        state.binary = true;
        state.checkParity = state.ctsFlow = state.dsrFlow = state.dsrSensitivity = false;
        state.xoffOutput = state.xoffInput = state.discardNull = false;
        ASSERT_TRUE(port.SetState(state)) << SerialPort::LastError();
        ASSERT_TRUE(port.Purge());
    }
    // Reads until `size` bytes have come, or none for a minute.
    std::string Receive(std::size_t size, uint32_t atOnce) {
        std::string bytes;
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (bytes.size() < size && std::chrono::steady_clock::now() < limit) {
            char buffer[128];
            uint32_t count = 0;
            if (!port.Read(buffer, atOnce, count)) break;
            EXPECT_LE(count, atOnce);
            bytes.append(buffer, count);
        }
        return bytes;
    }
    // As many waits as take a quarter of a minute at least where each lasts as long as the longest may.
    void AwaitMoreOften() {
        for (int i = 0; i < 200; ++i) port.AwaitMore(0);
    }
    bool AwaitWaiting(uint32_t bytes) {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        PortQueue queue;
        while (port.QueryQueue(queue) && queue.bytesWaiting < bytes) {
            if (std::chrono::steady_clock::now() > limit) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return queue.bytesWaiting == bytes;
    }

    std::unique_ptr<Probe> probe;
    SerialPort port;
};

TEST_F(SerialPortContract, AbsentPortDoesNotOpen) {
    SerialPort absent;
    EXPECT_FALSE(absent.Open(kAbsentPort));
    EXPECT_FALSE(absent.IsOpen());
    EXPECT_EQ(SerialPort::LastError(), 2U);
}

TEST_F(SerialPortContract, ClosedPortCountsAsClosed) {
    EXPECT_TRUE(port.IsOpen());
    EXPECT_TRUE(port.Close());
    EXPECT_FALSE(port.IsOpen());
}

TEST_F(SerialPortContract, ProgrammedSettingsAreReadBack) {
    Configure();
    LineState state;
    ASSERT_TRUE(port.GetState(state));
    EXPECT_GT(state.length, 0U);
    EXPECT_EQ(state.baudRate, 115200U);
    EXPECT_EQ(state.dataBits, 8);
    EXPECT_EQ(state.parity, 0);
    EXPECT_EQ(state.stopBits, 0);
    EXPECT_TRUE(state.binary);
    EXPECT_FALSE(state.ctsFlow);
    EXPECT_FALSE(state.xoffOutput);
    EXPECT_FALSE(state.xoffInput);
}

TEST_F(SerialPortContract, SettingsAsFoundCanBeRestored) {
    LineState found;
    ASSERT_TRUE(port.GetState(found));
    Configure();
    ASSERT_TRUE(port.SetState(found)) << SerialPort::LastError();
    LineState restored;
    ASSERT_TRUE(port.GetState(restored));
    EXPECT_EQ(restored.baudRate, found.baudRate);
    EXPECT_EQ(restored.dataBits, found.dataBits);
    EXPECT_EQ(restored.parity, found.parity);
    EXPECT_EQ(restored.stopBits, found.stopBits);
    EXPECT_EQ(restored.xoffOutput, found.xoffOutput);
    EXPECT_EQ(restored.xoffInput, found.xoffInput);
}

TEST_F(SerialPortContract, ReadWithoutDataSucceedsAtOnceWithNothing) {
    Configure();
    char byte = 0;
    uint32_t count = 9;
    EXPECT_TRUE(port.Read(&byte, 1, count));
    EXPECT_EQ(count, 0U);
}

TEST_F(SerialPortContract, BytesOfEveryValueArriveUnchangedAndInOrder) {
    Configure();
    std::string bytes;
    for (int value = 0; value < 256; ++value) bytes.push_back(static_cast<char>(value));
    probe->Send(bytes);
    EXPECT_EQ(Receive(256, 100), bytes);
}

TEST_F(SerialPortContract, ReadsTakeNoMoreThanTheirSize) {
    Configure();
    probe->Send("abcdef");
    EXPECT_EQ(Receive(6, 1), "abcdef");
}

TEST_F(SerialPortContract, QueueCountsTheBytesThatWait) {
    Configure();
    PortQueue queue;
    ASSERT_TRUE(port.QueryQueue(queue));
    EXPECT_EQ(queue.bytesWaiting, 0U);
    probe->Send("12345");
    EXPECT_TRUE(AwaitWaiting(5));
    EXPECT_EQ(Receive(2, 2), "12");
    EXPECT_TRUE(AwaitWaiting(3));
}

TEST_F(SerialPortContract, PurgeDiscardsWhatWaits) {
    Configure();
    probe->Send("stale");
    ASSERT_TRUE(AwaitWaiting(5));
    EXPECT_TRUE(port.Purge());
    probe->Send("new");
    EXPECT_EQ(Receive(3, 100), "new");
}

TEST_F(SerialPortContract, BytesArriveDuringABreakOfTheOwnLine) {
    Configure();
    ASSERT_TRUE(port.SetBreak()) << SerialPort::LastError();
    probe->Send("late");
    EXPECT_EQ(Receive(4, 100), "late");
}

TEST_F(SerialPortContract, WaitsTakeNothingFromWhatArrives) {
    Configure();
    port.AwaitMore(0);
    probe->Send("awaited");
    std::string bytes;
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    for (uint32_t count = 0; bytes.size() < 7 && std::chrono::steady_clock::now() < limit;) {
        port.AwaitMore(count);
        char buffer[3];
        ASSERT_TRUE(port.Read(buffer, sizeof buffer, count));
        bytes.append(buffer, count);
    }
    EXPECT_EQ(bytes, "awaited");
}

TEST_F(SerialPortContract, WaitsThatAreEndedOnceAreNeverLongAgain) {
    Configure();
    port.EndWaits();
    port.EndWaits();
    const auto before = std::chrono::steady_clock::now();
    AwaitMoreOften();
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
    probe->Send("heard");
    EXPECT_EQ(Receive(5, 100), "heard");
}

TEST_F(SerialPortContract, NothingIsAwaitedOfAPortThatIsGone) {
    if (!probe->UnpluggingIsSeen()) GTEST_SKIP() << "this platform reads nothing from a port that is gone";
    Configure();
    probe->Unplug();
    const auto before = std::chrono::steady_clock::now();
    AwaitMoreOften();
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
}

TEST_F(SerialPortContract, ReadFailsWhenTheFarEndIsGone) {
    if (!probe->UnpluggingIsSeen()) GTEST_SKIP() << "this platform reads nothing from a port that is gone";
    Configure();
    probe->Unplug();
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    char byte = 0;
    uint32_t count = 0;
    while (port.Read(&byte, 1, count)) {
        EXPECT_EQ(count, 0U);
        ASSERT_LT(std::chrono::steady_clock::now(), limit) << "reads go on as if nothing came";
    }
    EXPECT_NE(SerialPort::LastError(), 0U);
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tarnel
