#include <cstdio>
#include <cstdlib>

#include "tests/fakes/scripted_native_thread.h"
#include "tests/unit/channel/driver_fixture.h"

namespace channel_tests {
namespace {

namespace scripted = fakes::native_thread;

constexpr char kMessage[] = "Internal error creating UART data collection thread";

/// The capture thread that the platform refuses.
class CaptureThread : public DriverTest {
  protected:
    CaptureThread() { scripted::Reset(); }
    ~CaptureThread() override {
        driver.reset();
        scripted::Reset();
    }
    void ExpectRefusal() {
        Make();
        Configure();
        EXPECT_EQ(ErrorOf([this] { driver->StartRecording(0); }), kMessage);
        EXPECT_TRUE(log.Has(std::string("E Tarnel_ChannelDriver: ") + kMessage));
        EXPECT_FALSE(port->IsOpen());
        EXPECT_EQ(Status(), "Ready to record");
        EXPECT_TRUE(MutexIsFree());
        EXPECT_EQ(journal.Count("SetTpiuPrescaler"), 0U);
    }
};

TEST_F(CaptureThread, RunsWithTheDefaultStackAtNormalPriority) {
    Make();
    StartRecording();
    driver->StopRecording();
    EXPECT_THAT(scripted::Log(), testing::ElementsAre("create 0", "priority 0", "resume", "close"));
}

TEST_F(CaptureThread, ThatCannotBeCreatedIsAnInternalError) {
    scripted::Script().Fail("CreateSuspendedThread");
    ExpectRefusal();
}

TEST_F(CaptureThread, ThatDoesNotStartIsTheSameErrorInsteadOfAnEndlessWait) {
    scripted::Script().Fail("ResumeThread");
    ExpectRefusal();
}

TEST_F(CaptureThread, RecordingWorksOnceThePlatformHasThreadsAgain) {
    scripted::Script().Fail("CreateSuspendedThread", 1, 1);
    ExpectRefusal();
    driver->StartRecording(0);
    EXPECT_EQ(Status(), "Recording");
}

TEST_F(CaptureThread, OfAnEarlierRecordingIsNotWaitedForWhenTheNextOneDoesNotStart) {
    Make();
    StartRecording();
    driver->StopRecording();
    scripted::Script().Fail("CreateSuspendedThread", 2, 2);
    auto refusal =
        std::async(std::launch::async, [this] { return ErrorOf([this] { driver->StartRecording(0); }); });
    if (refusal.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
        std::fputs("the thread that was not made is waited for\n", stderr);
        std::_Exit(1);  // there is no other way out
    }
    EXPECT_EQ(refusal.get(), kMessage);
}

}  // namespace
}  // namespace channel_tests
