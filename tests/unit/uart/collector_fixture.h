#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host_api/cPelkitError.h"
#include "simulator/pelkit/error_reading.h"
#include "tests/fakes/scripted_capture_file.h"
#include "tests/fakes/scripted_serial_port.h"
#include "tests/support/log_home.h"
#include "uart/UARTDataCollector.h"

namespace Korr::Plim::Trace::Tarnel {

using support::LogHome;

/// A collector over a scripted port 5 and a scripted capture file "capture.bin".
class CollectorTest : public ::testing::Test {
  protected:
    static constexpr const char* kTag = "Tarnel_UARTCollector";
    static constexpr const char* kFile = "capture.bin";

    static void SetUpTestSuite() { Home(); }
    static LogHome& Home() {
        static LogHome home("1");
        return home;
    }

    static fakes::ScriptedPort& FreshPort() {
        fakes::ScriptedPorts::Reset();
        fakes::ScriptedFiles::Reset();
        return fakes::ScriptedPorts::Plug(5);
    }
    fakes::ScriptedPort& port = FreshPort();

    /// With prescaler 24 of 48 MHz unless a test says otherwise.
    std::unique_ptr<UARTDataCollector> Make() {
        return std::make_unique<UARTDataCollector>(5, traceClock, autoPrescaler, prescaler, kFile,
                                                   sendBreakOnStop);
    }
    double traceClock = 48e6;
    bool autoPrescaler = false;
    uint32_t prescaler = 24;
    bool sendBreakOnStop = false;

    /// What Make threw; a failed test and an empty text when it threw nothing.
    std::string RefusalOfMake() {
        try {
            Make();
        } catch (const cPelkitError& error) {
            EXPECT_EQ(pelkit::SeverityOf(error), cPelkitErrorIF::eSEVERITY_ERROR);
            return pelkit::TextOf(error);
        }
        ADD_FAILURE() << "the collector was made";
        return std::string();
    }

    /// Makes a collector, runs it on this thread until the script stops it, and destroys it. The reads that
    /// tests added are followed by a stop.
    void MakeAndRun() {
        const std::unique_ptr<UARTDataCollector> collector = Make();
        port.AddAction([&collector] { collector->Stop(); });
        collector->Run();
        EXPECT_TRUE(collector->IsFinished());
    }

    /// Lines so far belong to no test.
    void ForgetLines() { linesBefore = Home().Lines().size(); }

    static std::vector<std::string> Journal() { return fakes::ScriptedCalls::Instance().Journal(); }
    static std::size_t Count(const char* name) { return fakes::ScriptedCalls::Instance().Count(name); }
    static void Fail(const char* name, uint32_t code, std::size_t nth = 0) {
        fakes::ScriptedCalls::Instance().Fail(name, code, nth);
    }
    static std::string Content() { return fakes::ScriptedFiles::Content(kFile); }

    /// Lines of this test, the opening lines of the log itself left out.
    std::vector<std::string> NewLines() const {
        std::vector<std::string> lines = Home().Lines();
        lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(linesBefore));
        lines.erase(std::remove_if(lines.begin(), lines.end(),
                                   [](const std::string& line) { return line.rfind("M Logger :", 0) == 0; }),
                    lines.end());
        return lines;
    }
    std::string LastLine() const {
        const std::vector<std::string> lines = NewLines();
        return lines.empty() ? std::string() : lines.back();
    }
    static std::string Ordinary(const std::string& text) { return std::string("M ") + kTag + ": " + text; }
    static std::string Error(const std::string& text) { return std::string("E ") + kTag + ": " + text; }

  private:
    std::size_t linesBefore = Home().Lines().size();
};

}  // namespace Korr::Plim::Trace::Tarnel
