#include <new>

#include "tests/support/refusing_allocator.h"
#include "tests/unit/channel/driver_fixture.h"

namespace channel_tests {
namespace {

/// Memory that runs out while a driver makes one of its objects.
class Allocation : public DriverTest {
  protected:
    template <typename Object, typename Action>
    std::string ErrorWithout(Action action) {
        support::refusedSize = sizeof(Object);
        const std::string error = ErrorOf([&] {
            try {
                action();
            } catch (...) {
                support::refusedSize = 0;
                throw;
            }
        });
        support::refusedSize = 0;
        return error;
    }
};

TEST_F(Allocation, WithoutAMutexThereIsNoDriver) {
    const std::string message = "Internal error creating ChannelDriver. Failed to create mutex object";
    EXPECT_EQ(ErrorWithout<KORR_PLIM::uMutex>([&] { ChannelDriver(&receiver, "board/cpu", &adapter, 1, 1); }),
              message);
    EXPECT_TRUE(log.Has("E Tarnel_ChannelDriver: " + message));
}

TEST_F(Allocation, WithoutACollectorTheStartIsRefused) {
    const std::string message = "Internal error creating UART data collection object";
    Make();
    StartRecording();  // once, so that what is made only once is there
    driver->StopRecording();
    EXPECT_EQ(ErrorWithout<UARTDataCollector>([&] { driver->StartRecording(0); }), message);
    EXPECT_TRUE(log.Has("E Tarnel_ChannelDriver: " + message));
    EXPECT_EQ(Status(), "Stopped by user");
    EXPECT_TRUE(MutexIsFree());
    driver->StartRecording(0);
    EXPECT_EQ(Status(), "Recording");
}

TEST_F(Allocation, WithoutAThreadObjectTheStartIsRefusedAndTheCollectorGoes) {
    const std::string message = "Internal error creating UART data collection thread";
    Make();
    StartRecording();  // once, so that what is made only once is there
    driver->StopRecording();
    EXPECT_EQ(ErrorWithout<KORR_PLIM::uThread>([&] { driver->StartRecording(0); }), message);
    EXPECT_TRUE(log.Has("E Tarnel_ChannelDriver: " + message));
    EXPECT_FALSE(port->IsOpen());
    EXPECT_EQ(Status(), "Stopped by user");
    EXPECT_TRUE(MutexIsFree());
}

TEST_F(Allocation, AStatusTextThatCannotBeKeptIsPassedOnAndTheMutexIsFree) {
    Make();
    StatusRecord record;
    const std::string longer(record.text.capacity() + 1, 'x');
    decltype(record.text) grown;
    grown = longer;  // asks for what a text of a status asks for
    support::refusedSize = grown.capacity() + 1;
    EXPECT_THROW(driver->GetStatus(record), std::bad_alloc);
    support::refusedSize = 0;
    ASSERT_TRUE(MutexIsFree());
    EXPECT_EQ(Status(), "Calibrating ...");
}

TEST_F(Allocation, AStatusTextThatCannotBeKeptComesWithoutFlags) {
    StatusRecord record;
    const std::string longer(record.text.capacity() + 1, 'x');
    decltype(record.text) grown;
    grown = longer;  // asks for what a text of a status asks for
    support::refusedSize = grown.capacity() + 1;
    EXPECT_THROW(DescribeState(kStoppedByError, record), std::bad_alloc);
    support::refusedSize = 0;
    EXPECT_THAT(record.flags, testing::ElementsAre(0, 0, 0, 0, 0));
}

TEST_F(Allocation, AStatusTextThatCannotBeKeptComesWithItsCode) {
    StatusRecord record;
    const std::string longer(record.text.capacity() + 1, 'x');
    decltype(record.text) grown;
    grown = longer;
    support::refusedSize = grown.capacity() + 1;
    EXPECT_THROW(DescribeState(kCreated, record), std::bad_alloc);
    support::refusedSize = 0;
    EXPECT_EQ(record.code, kStatusCalibrating);
}

TEST_F(Allocation, CapturedDataThatCannotBeAskedForIsNone) {
    Make();
    SetCapture("0123456789abcdef");
    char buffer[16];
    uint32_t samplesRead = 99;
    const std::string name = CaptureFileOf("cpu");
    support::refusedSize = std::string(name).capacity() + 1;  // what a copy of it takes
    const uint32_t samples = driver->GetNumSamples();
    const uint32_t result = driver->SeekReadTraceData(0, 2, buffer, samplesRead);
    support::refusedSize = 0;
    EXPECT_EQ(samples, 0U);
    EXPECT_EQ(result, 0U);
    EXPECT_EQ(samplesRead, 0U);
    EXPECT_EQ(log.Count(std::string("E Tarnel_ChannelDriver: ") + std::bad_alloc().what()), 2U);
    EXPECT_EQ(driver->GetNumSamples(), 2U);
    EXPECT_EQ(driver->SeekReadTraceData(0, 2, buffer, samplesRead), 2U);
}

class DriverWithoutMemory : public ChannelDriver {
  public:
    using ChannelDriver::ChannelDriver;
    uint32_t GetNumSamples() override { throw std::bad_alloc(); }
};

TEST_F(Allocation, AReadThatRunsOutOfMemoryGivesNothing) {
    MakeAs<DriverWithoutMemory>();
    char buffer[16];
    uint32_t samplesRead = 99;
    EXPECT_EQ(driver->SeekReadTraceData(0, 2, buffer, samplesRead), 0U);
    EXPECT_EQ(samplesRead, 0U);
    EXPECT_TRUE(log.Has(std::string("E Tarnel_ChannelDriver: ") + std::bad_alloc().what()));
}

}  // namespace
}  // namespace channel_tests
