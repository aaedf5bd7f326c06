#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "channel/ChannelDriver.h"
#include "options/ChannelOptionsHandler.h"
#include "options/option_table.h"
#include "source_utilities/file_system.h"
#include "tests/fakes/host_objects.h"
#include "tests/fakes/scripted_serial_port.h"
#include "tests/support/expect_error.h"
#include "tests/support/log_lines.h"

namespace channel_tests {

using namespace Korr::Plim::Trace;
using namespace Korr::Plim::Trace::Tarnel;
using support::ErrorOf;
using support::LogAtLevel;
using support::LogLines;
using support::TraceFolder;

inline constexpr uint32_t kPort = 5;
inline constexpr uint32_t kCpuId = 7;

/// Waits, generously, until a condition holds.
template <typename Condition>
bool WaitFor(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// A driver with fakes of everything of the host around it and a scripted port COM5.
class DriverTest : public testing::Test {
  protected:
    DriverTest() {
        fakes::ScriptedPorts::Reset();
        port = &fakes::ScriptedPorts::Plug(kPort);
    }
    ~DriverTest() override {
        driver.reset();
        KORR_PLIM::SetEnvironment("KORR_TRACE_SETTINGS_DIR", folder.SettingsFolder().c_str());
    }

    /// Makes the driver; an older one goes first.
    ChannelDriver& Make(const std::string& name = "board/cpu", uint32_t probeKind = 0) {
        return MakeAs<ChannelDriver>(name, probeKind);
    }
    template <typename Driver>
    Driver& MakeAs(const std::string& name = "board/cpu", uint32_t probeKind = 0) {
        driver.reset();
        auto made = std::make_unique<Driver>(&receiver, name.c_str(), &adapter, kCpuId, 1U);
        made->SetHostAccess(&identifier, &memory, probeKind);
        Driver& result = *made;
        driver = std::move(made);
        journal.Clear();
        log = LogLines();
        return result;
    }

    /// Options with which a recording works: manual prescaler 23 and clock 48 MHz on COM5.
    static std::map<uint32_t, std::string> WorkingOptions() {
        return {{kOptionFirmwareVersion, "fw 1.0.0.5"},
                {kOptionEncoding, "UART"},
                {kOptionPrescaler, "Manual"},
                {kOptionPrescalerValue, "23"},
                {kOptionClock, "Manual"},
                {kOptionClockValue, "48000000"},
                {kOptionComPort, "5"},
                {kOptionTimestampPrescaler, "16"}};
    }
    /// Writes an options file and gives its name. A value of "-" leaves the option out.
    std::string OptionsFile(const std::map<uint32_t, std::string>& changes = {}) const {
        std::map<uint32_t, std::string> values = WorkingOptions();
        for (const auto& [id, value] : changes) values[id] = value;
        OptionList list;
        for (const auto& [id, value] : values) {
            if (value == "-") continue;
            ChannelOptions option;
            option.id = id;
            option.key = OptionTable()[id].key;
            option.value = value;
            list.push_back(option);
        }
        const std::string name = folder.Path("options.xml");
        ChannelOptionsHandler().SaveOptions(list, name);
        return name;
    }
    void Configure(const std::map<uint32_t, std::string>& changes = {}) {
        driver->SetConfiguration(OptionsFile(changes).c_str());
    }
    std::string ConfigurationError(const std::map<uint32_t, std::string>& changes) {
        return ErrorOf([&] { Configure(changes); });
    }
    void StartRecording(const std::map<uint32_t, std::string>& changes = {}) {
        Configure(changes);
        driver->StartRecording(0);
    }

    std::string Attribute(const std::string& name) {
        TraceAttribute answer;
        driver->GetAttribute(name.c_str(), answer);
        EXPECT_EQ(answer.name, name);
        return "type " + std::to_string(answer.type) + " \"" + answer.value + "\"";
    }
    std::string Status() {
        StatusRecord record;
        driver->GetStatus(record);
        return record.text;
    }
    std::string CaptureFileOf(const std::string& shortName) const {
        return folder.LoggingFolder() + KORR_PLIM::platform::PathSeparator() + "data" +
               KORR_PLIM::platform::PathSeparator() + "swotrace_" + shortName + ".bin";
    }
    /// Puts bytes into the capture file of board/cpu.
    void SetCapture(const std::string& bytes) const { TraceFolder::WriteFile(CaptureFileOf("cpu"), bytes); }
    /// Whether the whole mutex is free, seen from another thread. When it is not, that thread waits in the
    /// driver for ever: the driver is then kept, and this object has none any more.
    bool MutexIsFree() {
        const auto answered = std::make_shared<std::promise<void>>();
        std::thread([answered, asked = driver.get()] {
            StatusRecord record;
            asked->GetStatus(record);
            answered->set_value();
        }).detach();
        if (answered->get_future().wait_for(std::chrono::seconds(20)) == std::future_status::ready) {
            return true;
        }
        static_cast<void>(driver.release());
        return false;
    }

    TraceFolder& folder = TraceFolder::Instance();
    fakes::CallJournal journal;
    fakes::FakeReceiver receiver{journal};
    fakes::FakeTargetAdapter adapter{journal};
    fakes::FakeMemoryAccessor memory{journal};
    fakes::FakeDeviceIdentifier identifier{journal};
    fakes::ScriptedPort* port = nullptr;
    std::unique_ptr<ChannelDriver> driver;
    LogLines log;
};

}  // namespace channel_tests
