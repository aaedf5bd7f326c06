#include "tests/unit/channel/driver_fixture.h"

namespace channel_tests {
namespace {

/// Host threads that ask while the capture thread writes.
class Concurrency : public DriverTest {
  protected:
    /// Runs a question over and over on a thread of its own until the end of the test.
    template <typename Question>
    void Ask(Question question) {
        threads.emplace_back([this, question] {
            while (!done) {
                question();
                ++answers;
                std::this_thread::yield();
            }
        });
    }
    void Finish() {
        done = true;
        for (std::thread& thread : threads) thread.join();
        threads.clear();
    }
    ~Concurrency() override { Finish(); }

    std::atomic<bool> done{false};
    std::atomic<int> answers{0};
    std::vector<std::thread> threads;
};

TEST_F(Concurrency, StatusSamplesAndDataAreReadWhileTheCaptureGrows) {
    const LogAtLevel off("0");
    Make();
    StartRecording();
    std::string sent;
    Ask([this] {
        StatusRecord record;
        driver->GetStatus(record);
        EXPECT_EQ(record.code, 6U);
    });
    Ask([this] {
        static uint32_t last = 0;
        const uint32_t samples = driver->GetNumSamples();
        EXPECT_GE(samples, last);
        last = samples;
    });
    Ask([this] {
        const uint32_t samples = driver->GetNumSamples();
        std::vector<uint64_t> buffer(samples + 1, 0xEEEEEEEEEEEEEEEE);
        uint32_t read = 0;
        EXPECT_GE(driver->SeekReadTraceData(0, samples, buffer.data(), read), samples);
        for (uint32_t whole = 0; whole + 1 < samples; ++whole) EXPECT_EQ(buffer[whole], whole);
    });
    Ask([this] { driver->SetTargetState(5); });
    for (uint64_t number = 0; number < 500; ++number) {
        std::string bytes(8, '\0');
        for (std::size_t index = 0; index < 8; ++index) {
            bytes[index] = static_cast<char>(number >> (8 * index));
        }
        port->AddRead(bytes.substr(0, 3));
        port->AddRead(bytes.substr(3));
        sent += bytes;
    }
    EXPECT_TRUE(WaitFor([this] { return driver->GetNumSamples() == 500; }));
    EXPECT_TRUE(WaitFor([this] { return answers > 200; }));
    Finish();
    driver->StopRecording();
    EXPECT_EQ(TraceFolder::ReadFile(CaptureFileOf("cpu")), sent);
}

TEST_F(Concurrency, OtherThreadsAskWhileRecordingsStartAndStop) {
    const LogAtLevel off("0");
    Make();
    Configure();
    Ask([this] {
        StatusRecord record;
        driver->GetStatus(record);
        EXPECT_TRUE(record.code == 16 || record.code == 6 || record.code == 11) << record.code;
    });
    Ask([this] {
        char buffer[80];
        uint32_t read = 0;
        driver->SeekReadTraceData(0, 10, buffer, read);
    });
    Ask([this] {
        TraceAttribute answer;
        for (const char* name : {"Trace Data Frequency", "ITM Timestamp Prescale", "ITM Exception Map Name",
                                 "ITMChannelType_0"}) {
            driver->GetAttribute(name, answer);
        }
    });
    for (int round = 0; round < 30; ++round) {
        driver->StartRecording(0);
        driver->StopRecording();
        if (round % 10 == 0) Configure();
    }
    EXPECT_TRUE(WaitFor([this] { return answers > 50; }));
}

TEST_F(Concurrency, StartsOfTwoThreadsMakeOneRecording) {
    Make();
    Configure();
    std::thread other([this] { driver->StartRecording(0); });
    driver->StartRecording(0);
    other.join();
    EXPECT_EQ(port->Openings(), 1U);
    EXPECT_EQ(
        log.Count("M Tarnel_ChannelDriver: Cannot start recording since recording is already in progress"),
        1U);
    EXPECT_EQ(journal.Count("EnableTpiu"), 1U);
}

TEST_F(Concurrency, TwoDriversRecordAtOnce) {
    Make("board/cpu");
    fakes::ScriptedPort& secondPort = fakes::ScriptedPorts::Plug(6);
    ChannelDriver second(&receiver, "board/second", &adapter, kCpuId + 1, 2);
    second.SetHostAccess(&identifier, &memory, 0);
    StartRecording();
    second.SetConfiguration(OptionsFile({{kOptionComPort, "6"}}).c_str());
    second.StartRecording(0);
    port->AddRead("for the first");
    secondPort.AddRead("for the second driver");
    EXPECT_TRUE(WaitFor([&] { return driver->GetNumSamples() == 2 && second.GetNumSamples() == 3; }));
    second.StopRecording();
    driver->StopRecording();
    EXPECT_EQ(TraceFolder::ReadFile(CaptureFileOf("cpu")), "for the first");
    EXPECT_EQ(TraceFolder::ReadFile(CaptureFileOf("second")), "for the second driver");
}

}  // namespace
}  // namespace channel_tests
