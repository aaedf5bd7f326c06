#include <gtest/gtest.h>

#include <memory>

#include "host_api/cPelkitError.h"
#include "simulator/pelkit/error_reading.h"
#include "tests/fakes/scripted_capture_file.h"
#include "tests/fakes/scripted_serial_port.h"
#include "tests/second_reading/collector_model.h"
#include "tests/second_reading/log_follower.h"
#include "tests/second_reading/random_world.h"
#include "uart/UARTDataCollector.h"
#include "uart/prescaler_calibration.h"

namespace second_reading {

namespace {

using Korr::Plim::Trace::Tarnel::ConfigurePort;
using Korr::Plim::Trace::Tarnel::SerialPort;
using Korr::Plim::Trace::Tarnel::UARTDataCollector;

constexpr const char* kFile = "capture.bin";

void ExpectSame(const Seen& product, const Seen& model) {
    ASSERT_EQ(product.error, model.error);
    ASSERT_EQ(product.calls, model.calls);
    ASSERT_EQ(product.lines, model.lines);
    ASSERT_EQ(product.asked.size(), model.asked.size());
    for (std::size_t i = 0; i < model.asked.size(); ++i) {
        ASSERT_TRUE(Same(product.asked[i], model.asked[i])) << Describe(product.asked[i]) << "\n"
                                                            << Describe(model.asked[i]);
    }
    ASSERT_EQ(product.prescaler, model.prescaler);
    ASSERT_EQ(product.portOpen, model.portOpen);
    ASSERT_EQ(product.finished, model.finished);
    ASSERT_EQ(product.content, model.content);
}

void LookAt(const fakes::ScriptedPort& device, Seen& seen) {
    seen.calls = fakes::ScriptedCalls::Instance().Journal();
    seen.asked = device.Asked();
    seen.portOpen = device.IsOpen();
    seen.lines = LogFollower::Instance().NewLines();
}

Seen Calibrate(const World& world, double traceClock, bool automatic, uint32_t prescaler) {
    LogFollower::Instance().NewLines();
    fakes::ScriptedPort& device = Script(world, 5);
    Seen seen;
    seen.prescaler = prescaler;
    SerialPort port;
    EXPECT_TRUE(port.Open(5));
    try {
        ConfigurePort(port, world.found, traceClock, automatic, seen.prescaler, seen.baudRate);
    } catch (const cPelkitError& error) {
        EXPECT_EQ(pelkit::SeverityOf(error), cPelkitErrorIF::eSEVERITY_ERROR);
        seen.error = pelkit::TextOf(error);
    }
    LookAt(device, seen);
    if (port.IsOpen()) port.Close();
    return seen;
}

Seen ModelledCalibration(const World& world, double traceClock, bool automatic, uint32_t prescaler) {
    Seen seen;
    seen.prescaler = prescaler;
    ModelPort port(world, seen);
    port.Call("port.Open", "5");
    seen.portOpen = true;
    try {
        ModelCalibration(port, world.found, traceClock, automatic, seen.prescaler, seen.baudRate);
    } catch (const Refusal& refusal) {
        seen.error = refusal.text;
    }
    return seen;
}

// Lives through the world's steps on this thread. The steps tell it to stop, and so do writes.
Seen Live(const CollectorSettings& settings, const World& world) {
    LogFollower::Instance().NewLines();
    fakes::ScriptedPort& device = Script(world, settings.portNumber);
    Seen seen;
    seen.prescaler = settings.prescaler;
    std::unique_ptr<UARTDataCollector> collector;
    const auto stop = [&collector] { collector->Stop(); };
    for (const World::Step& step : world.steps) {
        step.stops ? device.AddAction(stop) : device.AddRead(step.bytes);
    }
    for (const auto& [nth, stops] : world.stopsInWrite) {
        fakes::ScriptedCalls::Instance().At("file.Write", nth, stop);
    }
    try {
        collector =
            std::make_unique<UARTDataCollector>(settings.portNumber, settings.traceClock, settings.automatic,
                                                seen.prescaler, settings.fileName, settings.sendBreakOnStop);
        EXPECT_FALSE(collector->IsFinished());
        collector->Run();
        seen.finished = collector->IsFinished();
        collector.reset();
    } catch (const cPelkitError& error) {
        EXPECT_EQ(pelkit::SeverityOf(error), cPelkitErrorIF::eSEVERITY_ERROR);
        seen.error = pelkit::TextOf(error);
    }
    LookAt(device, seen);
    seen.content = fakes::ScriptedFiles::Content(settings.fileName);
    EXPECT_EQ(fakes::ScriptedFiles::OpenCount(), 0u);
    return seen;
}

}  // namespace

TEST(CalibrationAgain, GoesAsTheModel) {
    ForRandomCases(2000, [](Random& random) {
        const double traceClock = RandomClock(random);
        World world = RandomWorld(random, traceClock);
        world.failures.erase({"port.Open", 1});
        const bool automatic = random.Percent(80);
        const uint32_t prescaler = random.Percent(90) ? random.Below(8192) : random.Word();
        const Seen model = ModelledCalibration(world, traceClock, automatic, prescaler);
        const Seen product = Calibrate(world, traceClock, automatic, prescaler);
        ExpectSame(product, model);
        ASSERT_EQ(product.baudRate, model.baudRate);
    });
}

TEST(CollectorAgain, LivesAsTheModel) {
    ForRandomCases(2000, [](Random& random) {
        CollectorSettings settings;
        settings.traceClock = RandomClock(random);
        settings.automatic = random.Percent(30);
        settings.prescaler = random.Percent(90) ? random.Below(100) : random.Word();
        settings.fileName = kFile;
        settings.sendBreakOnStop = random.Percent(8);
        const World world = RandomWorld(random, settings.traceClock);
        const Seen model = ModelCollector(settings, world);
        ExpectSame(Live(settings, world), model);
    });
}

}  // namespace second_reading
