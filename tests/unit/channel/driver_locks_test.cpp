#include <future>
#include <utility>

#include "tests/unit/channel/driver_fixture.h"

namespace channel_tests {
namespace {

/// An adapter that stays in its first operation, and with it the mutex held by whoever starts a recording.
class ClosedGate : public fakes::FakeTargetAdapter {
  public:
    using fakes::FakeTargetAdapter::FakeTargetAdapter;
    uint32_t TraceExportOpA(uint32_t cpuId) override {
        if (!passed.exchange(true)) {
            reached.set_value();
            opened.get_future().wait();
        }
        return fakes::FakeTargetAdapter::TraceExportOpA(cpuId);
    }
    std::promise<void> reached;
    std::promise<void> opened;

  private:
    std::atomic<bool> passed{false};
};

/// A driver whose mutex another thread holds until the end of the test.
class HeldMutex : public DriverTest {
  protected:
    HeldMutex() {
        driver = std::make_unique<ChannelDriver>(&receiver, "board/cpu", &gate, kCpuId, 1U);
        driver->SetHostAccess(&identifier, &memory, 0);
        Configure();
        SetCapture("0123456789abcdef");
        holder = std::thread([this] { driver->StartRecording(0); });
        gate.reached.get_future().wait();
    }
    ~HeldMutex() override {
        Open();
        for (std::thread& thread : waiting) thread.join();
        driver.reset();
    }
    void Open() {
        if (!holder.joinable()) return;
        gate.opened.set_value();
        holder.join();
    }
    /// Runs an operation that must not wait for the mutex. When it does, the holder lets it go.
    template <typename Operation>
    void ExpectNoWait(const char* name, Operation operation) {
        auto result = std::async(std::launch::async, operation);
        if (result.wait_for(std::chrono::seconds(10)) == std::future_status::ready) return result.get();
        ADD_FAILURE() << name << " waits for the mutex";
        Open();
        result.get();
    }
    /// Starts an operation that must wait for the mutex.
    template <typename Operation>
    void Wait(Operation operation) {
        waiting.emplace_back([this, operation] {
            ++asking;
            operation();
            ++answered;
        });
    }

    ClosedGate gate{journal};
    std::thread holder;
    std::vector<std::thread> waiting;
    std::atomic<int> asking{0};
    std::atomic<int> answered{0};
};

TEST_F(HeldMutex, IsNotWaitedForByWhatTakesNoLock) {
    ExpectNoWait("GetAttribute", [this] {
        for (const char* name :
             {"Trace Data Frequency", "ITM Timestamp Prescale", "WP0 Comp", "ITMChannelType_0", "unknown"}) {
            Attribute(name);
        }
    });
    ExpectNoWait("SetHaltState", [this] {
        driver->SetHaltState("cpu", 0);
        driver->SetHaltState("cpu", 1);
    });
    ExpectNoWait("UnregisterCpu", [this] { driver->UnregisterCpu("cpu"); });
    ExpectNoWait("GetNumSamples", [this] { EXPECT_EQ(driver->GetNumSamples(), 2U); });
    ExpectNoWait("SeekReadTraceData", [this] {
        char buffer[16];
        uint32_t read = 0;
        EXPECT_EQ(driver->SeekReadTraceData(0, 2, buffer, read), 2U);
    });
    ExpectNoWait("SaveFile", [this] { driver->SaveFile(folder.Path("saved.bin").c_str(), 2); });
    ExpectNoWait("GetCpuName", [this] { EXPECT_STREQ(driver->GetCpuName(), "board/cpu"); });
    ExpectNoWait("IsBufferWrapped", [this] { EXPECT_FALSE(driver->IsBufferWrapped()); });
    ExpectNoWait("GetExtendedInfo", [this] {
        Korr::Plim::Trace::HostString text;
        driver->GetExtendedInfo(text);
    });
    ExpectNoWait("GetProgress", [this] {
        uint32_t current = 0;
        uint32_t total = 0;
        driver->GetProgress(current, total);
    });
    ExpectNoWait("ResumeRecording", [this] { ErrorOf([this] { driver->ResumeRecording(); }); });
    ExpectNoWait("LoadFile", [this] { ErrorOf([this] { driver->LoadFile("x"); }); });
    ExpectNoWait("JobStateChanged", [this] { driver->JobStateChanged(1); });
    ExpectNoWait("SetTargetState", [this] { driver->SetTargetState(5); });
}

TEST_F(HeldMutex, IsNotWaitedForWithoutAConnection) {
    driver->SetTargetState(3);
    ExpectNoWait("GetStatus", [this] { EXPECT_EQ(Status(), ""); });
    ExpectNoWait("JobStateChanged", [this] { driver->JobStateChanged(0); });
    ExpectNoWait("StartRecording", [this] { driver->StartRecording(0); });
    ExpectNoWait("StopRecording", [this] { driver->StopRecording(); });
    EXPECT_TRUE(log.Has("M Tarnel_ChannelDriver: Cannot start recording unless target is connected"));
    EXPECT_TRUE(log.Has("M Tarnel_ChannelDriver: Cannot stop recording unless target is connected"));
}

TEST_F(HeldMutex, IsWaitedForByWhatTakesTheLock) {
    Wait([this] { EXPECT_EQ(Status(), "Recording"); });
    Wait([this] { driver->JobStateChanged(0); });
    Wait([this] { driver->StartRecording(0); });
    Wait([this] { ErrorOf([this] { driver->SetConfiguration(nullptr); }); });
    ASSERT_TRUE(WaitFor([this] { return asking == 4; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(answered, 0);
    EXPECT_FALSE(log.Has("E SetConfiguration called with null options for cpu"));
    Open();
    ASSERT_TRUE(WaitFor([this] { return answered == 4; }));
}

TEST_F(HeldMutex, IsWaitedForByAStop) {
    Wait([this] { driver->StopRecording(); });
    ASSERT_TRUE(WaitFor([this] { return asking == 1; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(answered, 0);
    EXPECT_FALSE(log.Has("M Tarnel_ChannelDriver: Cannot stop recording as recording has not started yet"));
    Open();
    ASSERT_TRUE(WaitFor([this] { return answered == 1; }));
    EXPECT_EQ(Status(), "Stopped by user");
}

/// An adapter that lets another thread start a recording while the driver is being destroyed; that thread
/// keeps the mutex until it is let go.
class LateStart : public ClosedGate {
  public:
    using ClosedGate::ClosedGate;
    uint32_t TraceExportOpB(uint32_t cpuId) override {
        if (ChannelDriver* const starting = std::exchange(dying, nullptr)) {
            starter = std::thread([starting] { starting->StartRecording(0); });
            reached.get_future().wait();
            started.set_value();
        }
        return ClosedGate::TraceExportOpB(cpuId);
    }
    uint32_t TraceRelease(uint32_t cpuId) override {
        released = true;
        return ClosedGate::TraceRelease(cpuId);
    }
    ChannelDriver* dying = nullptr;
    std::thread starter;
    std::promise<void> started;
    std::atomic<bool> released{false};
};

TEST_F(DriverTest, ADestructionStopsTheCaptureUnderTheMutex) {
    LateStart late(journal);
    driver = std::make_unique<ChannelDriver>(&receiver, "cpu", &late, kCpuId, 1U);
    Configure();
    late.dying = driver.get();
    std::thread destroyer([this] { driver.reset(); });
    late.started.get_future().wait();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(late.released);
    late.opened.set_value();
    late.starter.join();
    destroyer.join();
    EXPECT_TRUE(late.released);
    EXPECT_FALSE(port->IsOpen());
}

/// An adapter that looks, while its export status is asked for, whether another thread gets the mutex.
class Watching : public fakes::FakeTargetAdapter {
  public:
    using fakes::FakeTargetAdapter::FakeTargetAdapter;
    uint32_t GetExportStatus(uint32_t cpuId, uint32_t& status) override {
        answer = std::async(std::launch::async, [this] {
            StatusRecord record;
            watched->GetStatus(record);
        });
        isHeld = answer.wait_for(std::chrono::milliseconds(200)) == std::future_status::timeout;
        return fakes::FakeTargetAdapter::GetExportStatus(cpuId, status);
    }
    uint32_t TraceExportOpB(uint32_t cpuId) override {
        answer.wait();
        return fakes::FakeTargetAdapter::TraceExportOpB(cpuId);
    }
    ChannelDriver* watched = nullptr;
    std::future<void> answer;
    bool isHeld = false;
};

TEST_F(DriverTest, ADestructionAsksForTheExportStatusUnderTheMutex) {
    Watching watching(journal);
    driver = std::make_unique<ChannelDriver>(&receiver, "cpu", &watching, kCpuId, 1U);
    watching.watched = driver.get();
    driver.reset();
    EXPECT_TRUE(watching.isHeld);
}

}  // namespace
}  // namespace channel_tests
