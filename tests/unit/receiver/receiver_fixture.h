#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "options/ChannelOptionsHandler.h"
#include "receiver/Receiver.h"
#include "tests/fakes/scripted_capture_file.h"
#include "tests/fakes/scripted_serial_port.h"
#include "tests/support/expect_error.h"
#include "tests/support/log_lines.h"
#include "tests/unit/receiver/scripted_host.h"

namespace receiver_tests {

using Strings = std::vector<std::string>;

/// A receiver in a host whose libraries work, with a probe on COM port 5.
class ReceiverTest : public testing::Test {
  protected:
    support::LogLines log;
    ScriptedHost host;
    fakes::FakeTargetAdapter targetAdapter{host.journal};

    ReceiverTest() {
        fakes::ScriptedPorts::Reset();
        fakes::ScriptedFiles::Reset();
        fakes::ScriptedPorts::Plug(kPort);
    }

    trace::CChannelDriver* Allocate(trace::CReceiver& receiver, const char* cpuName, uint32_t cpuId = 1) {
        return receiver.AllocateChannelDriver(cpuName, &targetAdapter, cpuId,
                                              receiver.GetNextAvailableChannel());
    }
    std::string AllocationError(trace::CReceiver& receiver) {
        return support::ErrorOf([&] { Allocate(receiver, "board/cpu"); });
    }
    /// Makes a driver ready to record.
    static void Configure(trace::CChannelDriver& driver) {
        using namespace Korr::Plim::Trace;
        using namespace Korr::Plim::Trace::Tarnel;
        const auto file = std::filesystem::temp_directory_path() /
                          ("tarnel_options_" + std::to_string(std::random_device{}()) + ".xml");
        ChannelOptionsHandler handler;
        OptionList options;
        handler.GetOptions(options, "", kUnsupportedProbe);
        const std::string values[] = {"fw 1.0.0.8", "UART", "Manual", "23", "Manual", "48000000", "5", "1"};
        for (ChannelOptions& option : options) option.value = values[option.id];
        handler.SaveOptions(options, file.string());
        driver.SetConfiguration(file.string().c_str());
        std::filesystem::remove(file);
    }
    static uint32_t StatusCode(trace::CChannelDriver& driver) {
        trace::StatusRecord status;
        driver.GetStatus(status);
        return status.code;
    }

    static constexpr uint32_t kPort = 5;
    static constexpr uint32_t kReady = 16;
    static constexpr uint32_t kRecording = 6;
    static constexpr uint32_t kStoppedByUser = 11;
};

}  // namespace receiver_tests
