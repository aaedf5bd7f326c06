// Checks of the host's notifications.
#include "tracehost/check/scene.h"
#include "tracehost/check/subjects.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

void ExpectCode(const Scene& scene, const std::string& after, uint32_t wanted) {
    ExpectEqual("GetStatus after " + after + ": code", scene.driver.Code(), wanted);
}

void CheckStartAndStop(Stage& stage) {
    const Scene scene(stage);
    scene.Configure();
    scene.receiver.TargetStateChanged(kCpu, 7);
    ExpectCode(scene, "the target halted, with nothing recorded", kStatusReady);
    for (const uint32_t running : {5u, 6u}) {
        scene.receiver.TargetStateChanged(kCpu, running);
        ExpectCode(scene, "the target runs (" + Shown(running) + ")", kStatusRecording);
        const std::string bytes = KnownBytes(500, running);
        scene.Capture(bytes);
        scene.receiver.TargetStateChanged(kCpu, running + 2);
        ExpectCode(scene, "the target halted (" + Shown(running + 2) + ")", kStatusStoppedByUser);
        ExpectBytes("what was captured while the target ran", scene.ReadAll(), Padded(bytes));
    }
}

void CheckDisconnection(Stage& stage) {
    const Scene scene(stage);
    scene.receiver.TargetStateChanged(kCpu, 7);  // notes a halt state
    for (const uint32_t state : {3u, 4u}) {
        scene.receiver.TargetStateChanged(kCpu, state);
        ExpectCode(scene, "the target is gone (" + Shown(state) + "), which is left as it was", 99);
    }
    Expect(stage.Log().find("CPU unregistered.") != std::string::npos,
           "the log does not tell that the CPU is gone");
    scene.receiver.TargetStateChanged(kCpu, 7);
    ExpectCode(scene, "the target is there again", kStatusCalibrating);
}

void CheckIgnored(Stage& stage) {
    const Scene scene(stage);
    scene.Configure();
    const std::size_t calls = scene.adapter.calls.size();
    for (const char* cpu : {"another", "", static_cast<const char*>(nullptr)}) {
        scene.receiver.TargetStateChanged(cpu, 3);
        scene.receiver.TargetStateChanged(cpu, 6);
        scene.receiver.TargetEvent(cpu, 0);
        scene.receiver.TargetNotice(cpu, 0, 0);
    }
    for (const uint32_t state : {0u, 1u, 2u, 9u, 0xFFFFFFFFu}) scene.receiver.TargetStateChanged(kCpu, state);
    for (const uint32_t event : {1u, 2u, 0xFFFFFFFFu}) scene.receiver.TargetEvent(kCpu, event);
    ExpectCode(scene, "notifications that mean nothing", kStatusReady);
    ExpectEqual("calls of the target adapter for notifications that mean nothing", scene.adapter.calls.size(),
                calls);
    Expect(stage.Log().find(kModifiedJob) == std::string::npos,
           "an event of another code or CPU is noted as a modified job");
    scene.receiver.TargetEvent(kCpu, 0);
    Expect(stage.Log().find(kModifiedJob) != std::string::npos, "TargetEvent 0 does not reach the driver");
}

void CheckQuiet(Stage& stage) {
    Scene scene(stage);
    scene.receiver.TargetStateChanged(kCpu, 6);  // refused in the log: not configured
    scene.driver.SetConfiguration(stage.WriteOptions({{"COMPORT", "65000"}}).c_str());
    scene.receiver.TargetStateChanged(kCpu, 6);  // no such port
    ExpectCode(scene, "a notification whose start failed", kStatusReady);
    scene.adapter.throwing = "TraceExportOpA";
    scene.receiver.TargetStateChanged(kCpu, 5);
    ExpectCode(scene, "a notification in which the target adapter threw", kStatusReady);
}

}  // namespace

const std::vector<Check>& NotificationChecks() {
    static const std::vector<Check> checks = {
        {"notify-start-and-stop", "A target that starts to run starts a recording, one that halts stops it",
         "this is how hosts record: with the target", 1, CheckStartAndStop},
        {"notify-disconnection", "A target that is gone is noted; once it is back the status is told again",
         "targets are unplugged in the midst of a session", 0, CheckDisconnection},
        {"notify-ignored", "Notifications of other CPUs, of no CPU and of other codes change nothing",
         "a host sends every notification to every receiver", 0, CheckIgnored},
        {"notify-quiet", "What goes wrong in a notification stays in the plug-in",
         "hosts send them where no exception is expected", 0, CheckQuiet},
    };
    return checks;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
