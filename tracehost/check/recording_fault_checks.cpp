// Checks of recordings that cannot be.
#include "tracehost/check/scene.h"
#include "tracehost/check/subjects.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

struct TpiuFault {
    const char* operation;
    const char* text;
};
constexpr TpiuFault kTpiuFaults[] = {
    {"SetTpiuPrescaler", "Invalid Prescalar Value"},
    {"SetTpiuPinProtocol", "Invalid Pin Protocol"},
    {"SetTimestampPrescale", "Failed to configure timestamping resolution"},
    {"ProgramTpiu", "Failed to program TPIU"},
    {"EnableTpiu", "Failed to Enable TPIU for SWO trace"},
};

void CheckTpiuFaults(Stage& stage) {
    Scene scene(stage);
    scene.Configure();
    const uint64_t threads = CountThreads();
    for (const TpiuFault& fault : kTpiuFaults) {
        scene.adapter.failing = fault.operation;
        const std::string what = std::string("StartRecording when ") + fault.operation + " fails";
        ExpectRefusal(what, fault.text, [&] { scene.driver.StartRecording(); });
        ExpectEqual("GetStatus after " + what + ": code", scene.driver.Code(), uint32_t{kStatusReady});
        Expect(WaitUntil([&] { return CountThreads() <= threads; }), what + " leaves a thread behind");
    }
    scene.adapter.failing.clear();
    scene.driver.StartRecording();
    scene.Capture(KnownBytes(100));
}

/// What the target adapter throws is the host's own error, and comes back to it.
void CheckThrowing(Stage& stage) {
    Scene scene(stage);
    scene.Configure();
    for (const char* operation : {"TraceExportOpA", "GetExportStatus", "SetTpiuPrescaler", "EnableTpiu"}) {
        scene.adapter.throwing = operation;
        const std::string what = std::string("StartRecording when ") + operation + " throws";
        ExpectRefusal(what, CheckAdapter::kThrownText, [&] { scene.driver.StartRecording(); });
        ExpectEqual("GetStatus after " + what + ": code", scene.driver.Code(), uint32_t{kStatusReady});
    }
    scene.adapter.throwing.clear();
    scene.driver.StartRecording();
    scene.Capture(KnownBytes(100));
    scene.adapter.throwing = "TraceRelease";
    scene.Release();  // throws nothing
    ExpectEqual("GetNumCpus after a release in which TraceRelease threw", scene.receiver.GetNumCpus(), 0u);
}

void CheckNoPort(Stage& stage) {
    const Scene scene(stage);
    scene.driver.SetConfiguration(stage.WriteOptions({{"COMPORT", "65000"}}).c_str());
    for (int i = 0; i < 2; ++i) {
        ExpectRefusal("StartRecording from a port that is not there", "Failed to open COM port",
                      [&] { scene.driver.StartRecording(); });
        ExpectEqual("GetStatus after that: code", scene.driver.Code(), uint32_t{kStatusReady});
        ExpectEqual("EnableTpiu's calls", scene.adapter.Count("EnableTpiu"), 0u);
    }
    scene.driver.SetConfiguration(stage.WriteOptions({{"CLKFREQVAL", "0"}}).c_str());
    ExpectRefusal("StartRecording with a trace clock of 0", "Invalid trace clock frequency",
                  [&] { scene.driver.StartRecording(); });
}

void CheckRunningTarget(Stage& stage) {
    const Scene scene(stage);
    scene.BringTo(State::Recording);
    scene.driver.SetTargetState(6);
    ExpectRefusal("StopRecording while the target runs",
                  "Trace cannot be stopped while target is running. Please halt the target.",
                  [&] { scene.driver.StopRecording(); });
    ExpectEqual("GetStatus after the refused stop: code", scene.driver.Code(), uint32_t{kStatusRecording});
    const std::string bytes = KnownBytes(1000);
    scene.Capture(bytes);
    scene.driver.SetTargetState(7);
    scene.driver.StopRecording();
    ExpectEqual("GetStatus after the stop of the halted target: code", scene.driver.Code(),
                uint32_t{kStatusStoppedByUser});
    ExpectBytes("what was captured after the refused stop", scene.ReadAll(), bytes);
}

}  // namespace

const std::vector<Check>& RecordingFaultChecks() {
    static const std::vector<Check> checks = {
        {"start-tpiu-faults",
         "A start that fails at the TPIU is refused with the step's text, and nothing runs on",
         "the text names the step; a thread left behind would hold the port", 1, CheckTpiuFaults},
        {"start-throwing-adapter",
         "What the target adapter throws in a start comes back to the host as it was",
         "the host knows its own errors, and must not be ended by them", 1, CheckThrowing},
        {"start-no-port",
         "A start without port or clock is refused with its text, before the target is touched",
         "an unplugged probe is the fault that users have most", 0, CheckNoPort},
        {"stop-running-target",
         "A stop while the target runs is refused, and the recording goes on without a gap",
         "the host asks the user to halt the target, and stops then", 1, CheckRunningTarget},
    };
    return checks;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
