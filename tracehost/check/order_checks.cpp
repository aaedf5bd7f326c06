// Checks of calls that no host should make in this order.
#include "tracehost/check/scene.h"
#include "tracehost/check/subjects.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

void ExpectNothingRuns(uint64_t threads, const std::string& after) {
    Expect(WaitUntil([&] { return CountThreads() <= threads; }),
           after + " leaves a thread of the plug-in running");
}

/// The end of a recording that nobody stopped.
void CheckEnds(Stage& stage) {
    stage.LoadedPlugin();
    stage.Port();
    const uint64_t threads = CountThreads();
    {
        Scene scene(stage);
        scene.BringTo(State::Recording);
        scene.Release();
        ExpectNothingRuns(threads, "a release while recording");
        ExpectEqual("TraceRelease's calls", scene.adapter.Count("TraceRelease"), 1u);
    }
    CheckAdapter adapter(kCpuId);
    {
        const Life life(stage);
        const DriverCalls driver(life.receiver.Allocate(kCpu, &adapter, kCpuId, 1));
        driver.SetConfiguration(stage.WriteOptions().c_str());
        driver.StartRecording();
    }
    ExpectNothingRuns(threads, "DestroyRcvr while recording");
    ExpectEqual("TraceRelease's calls of a receiver destroyed while recording", adapter.Count("TraceRelease"),
                1u);
    const Scene scene(stage);  // the port is free again
    scene.BringTo(State::Recording);
    scene.Capture(KnownBytes(100));
}

void CheckConfigurationWhileRecording(Stage& stage) {
    const Scene scene(stage);
    scene.BringTo(State::Recording);
    const std::string bytes = KnownBytes(800);
    scene.Capture(bytes.substr(0, 400));
    scene.Configure();
    ExpectEqual("GetStatus after SetConfiguration while recording: code", scene.driver.Code(),
                uint32_t{kStatusReady});
    scene.Capture(bytes.substr(400), 400);  // the capture goes on
    scene.driver.StartRecording();          // and this is the next one
    ExpectEqual("GetStatus after the next start: code", scene.driver.Code(), uint32_t{kStatusRecording});
    scene.Capture(bytes);
    scene.driver.StopRecording();
    ExpectBytes("what the next recording captured", scene.ReadAll(), bytes);
}

/// Every operation that needs no state before, on a driver that nobody configured, and once more after a
/// stop.
void CheckUnasked(Stage& stage) {
    const Scene scene(stage);
    const DriverCalls& driver = scene.driver;
    for (int i = 0; i < 2; ++i) {
        driver.StopRecording();
        driver.StartRecording();
        driver.UnregisterCpu("nobody");
        driver.UnregisterCpu(nullptr);
        driver.SetHaltState(nullptr, 1);
        driver.JobStateChanged(0);
        driver.SaveFile(stage.File("nothing.bin").c_str(), 2);
        ExpectEqual("GetNumSamples", driver.GetNumSamples(), 0u);
        driver.SetTargetState(0);
    }
    ExpectEqual("GetStatus after all of them: code", driver.Code(), uint32_t{kStatusCalibrating});
    ExpectText("calls of the target adapter", scene.adapter.CallsFrom(0).c_str(), "");
}

}  // namespace

const std::vector<Check>& OrderChecks() {
    static const std::vector<Check> checks = {
        {"order-unasked", "Operations on a driver that nobody configured do no harm",
         "views ask every driver, in whatever state it is", 0, CheckUnasked},
        {"order-ends",
         "A release, and the receiver's end, end a recording that nobody stopped and free the port",
         "debug sessions end in the midst of a recording", 1, CheckEnds},
        {"order-configuration",
         "A configuration while recording leaves the capture alone; the next start begins anew",
         "users change settings at any time", 1, CheckConfigurationWhileRecording},
    };
    return checks;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
