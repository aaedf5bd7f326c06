// Checks of the channel driver's operations that belong to no other subject.
#include "host_api/CChannelDriverProgress.h"
#include "tracehost/check/scene.h"
#include "tracehost/check/subjects.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

constexpr const char* kNoStartUnconfigured = "Cannot start recording unless caltibration is complete";
constexpr const char* kNoStop = "Cannot stop recording as recording has not started yet";

bool IsNoted(const Stage& stage, const std::string& text) {
    return stage.Log().find(text) != std::string::npos;
}

/// What configures and records, on a driver that nobody has configured: each operation has its own refusal.
void ExpectRecordingSlots(const Scene& scene) {
    const DriverCalls& driver = scene.driver;
    TraceAttribute answer;
    driver.GetAttribute("Buffer Wrapped", answer);
    ExpectText("GetAttribute(\"Buffer Wrapped\")", answer.value, "0");
    ExpectEqual("IsBufferWrapped", driver.IsBufferWrapped(), false);
    ExpectRefusal("SetConfiguration without a file", "Internal error setting configuration.",
                  [&] { driver.SetConfiguration(nullptr); });
    driver.StartRecording();
    Expect(IsNoted(scene.stage, kNoStartUnconfigured) && !IsNoted(scene.stage, kNoStop),
           "StartRecording is not noted in the log as a start before a configuration");
    driver.StopRecording();
    Expect(IsNoted(scene.stage, kNoStop), "StopRecording is not noted in the log as a stop before a start");
    ExpectRefusal("ResumeRecording", "ResumeRecording not supported", [&] { driver.ResumeRecording(); });
}

/// What saves and reads, with a capture of two samples.
void ExpectDataSlots(const Scene& scene) {
    const DriverCalls& driver = scene.driver;
    const std::string bytes = KnownBytes(13);
    scene.stage.Write(Stage::CaptureFile(kCpuShortName), bytes);
    const std::string file = scene.stage.File("saved.bin");
    driver.SaveFile(file.c_str(), 2);
    ExpectBytes("what SaveFile saved", Stage::Read(file), Padded(bytes));
    ExpectRefusal("LoadFile", "LoadFile not supported", [&] { driver.LoadFile(file.c_str()); });
    std::string samples(Padded(bytes).size(), '?');
    uint32_t read = 99;
    ExpectEqual("SeekReadTraceData", driver.SeekReadTraceData(0, 2, samples.data(), read), 2u);
    ExpectEqual("SeekReadTraceData: out argument", read, 2u);
    ExpectBytes("what SeekReadTraceData read", samples, Padded(bytes));
    ExpectEqual("GetNumSamples", driver.GetNumSamples(), 2u);
}

/// What names the driver and keeps states.
void ExpectStateSlots(const Scene& scene) {
    const DriverCalls& driver = scene.driver;
    const Stage& stage = scene.stage;
    ExpectText("GetCpuName", driver.GetCpuName(), kCpu);
    ExpectEqual("GetStatus: code", driver.Code(), uint32_t{kStatusCalibrating});
    HostString text("before");
    HostString& given = driver.GetExtendedInfo(text);
    Expect(&given == &text, "GetExtendedInfo gives another string than the host's");
    ExpectText("GetExtendedInfo", text.c_str(), "Not implemented");
    driver.JobStateChanged(1);
    Expect(!IsNoted(stage, kModifiedJob), "JobStateChanged(1) is noted as a modified job");
    driver.JobStateChanged(0);
    Expect(IsNoted(stage, kModifiedJob), "JobStateChanged(0) is not noted in the log");
    driver.SetTargetState(3);
    ExpectEqual("GetStatus after SetTargetState(3): code, which is left", driver.Code(), 99u);
    driver.SetTargetState(7);
    driver.SetHaltState(kCpu, 0);
    driver.SetHaltState(kCpu, 1);
    Expect(IsNoted(stage, std::string("modified halt state for ") + kCpu + " to 1"),
           "a second SetHaltState is not noted in the log");
    driver.UnregisterCpu("another");
    Expect(!IsNoted(stage, "CPU unregistered."), "UnregisterCpu of an unknown name is noted");
    driver.UnregisterCpu(kCpu);
    Expect(IsNoted(stage, "CPU unregistered."), "UnregisterCpu is not noted in the log");
    ExpectEqual("GetStatus behind all of them: code", driver.Code(), uint32_t{kStatusCalibrating});
}

void CheckDriverSlots(Stage& stage) {
    const Scene scene(stage);
    ExpectRecordingSlots(scene);
    ExpectDataSlots(scene);
    ExpectStateSlots(scene);
}

void CheckProgress(Stage& stage) {
    const Scene scene(stage);
    Step("run-time cast to CChannelDriverProgress");
    auto* const progress = dynamic_cast<CChannelDriverProgress*>(scene.driver.Pointer());
    Expect(progress != nullptr, "a driver is no CChannelDriverProgress");
    uint32_t current = 99;
    uint32_t total = 99;
    Step("GetProgress");
    progress->GetProgress(current, total);
    ExpectEqual("GetProgress: current", current, 1u);
    ExpectEqual("GetProgress: total", total, 100u);
}

void CheckDriverRefusals(Stage& stage) {
    for (const State state : StatesAt(stage)) {
        const Scene scene(stage);
        scene.BringTo(state);
        const DriverCalls& driver = scene.driver;
        const uint32_t code = driver.Code();
        const std::size_t calls = scene.adapter.calls.size();
        const std::string in = std::string(" of a driver that is ") + NameOf(state);
        TraceAttribute answer;
        ExpectRefusal("GetAttribute" + in + " without a name", "Null attribute name",
                      [&] { driver.GetAttribute(nullptr, answer); });
        ExpectRefusal("SetConfiguration" + in + " without a file", "Internal error setting configuration.",
                      [&] { driver.SetConfiguration(nullptr); });
        ExpectRefusal("ResumeRecording" + in, "ResumeRecording not supported",
                      [&] { driver.ResumeRecording(); });
        ExpectRefusal("LoadFile" + in, "LoadFile not supported", [&] { driver.LoadFile("file"); });
        ExpectRefusal("SaveFile" + in + " without a name", "Data cannot be saved to empty file",
                      [&] { driver.SaveFile(nullptr, 2); });
        ExpectRefusal("SaveFile" + in + " with an empty name", "Data cannot be saved to empty file",
                      [&] { driver.SaveFile("", 2); });
        ExpectEqual("GetStatus" + in + " after what was refused: code", driver.Code(), code);
        ExpectEqual("calls of the target adapter" + in + " for what is refused", scene.adapter.calls.size(),
                    calls);
    }
}

/// Refusals because of the state are noted in the log and return as if nothing were.
void CheckStateRefusals(Stage& stage) {
    for (const State state : StatesAt(stage)) {
        const Scene scene(stage);
        scene.BringTo(state);
        const DriverCalls& driver = scene.driver;
        const uint32_t code = driver.Code();
        const std::size_t calls = scene.adapter.calls.size();
        const std::string in = std::string(" of a driver that is ") + NameOf(state);
        const auto refused = [&](const char* operation, const char* text) {
            const std::string what = operation + in;
            Expect(IsNoted(stage, text),
                   std::string(what).append(": the log does not tell ").append(Shown(text)));
            ExpectEqual(std::string("GetStatus after ").append(what).append(": code"), driver.Code(), code);
            ExpectEqual("calls of the target adapter by " + what, scene.adapter.calls.size(), calls);
        };
        if (state == State::Created || state == State::Recording) {
            driver.StartRecording();
            refused("StartRecording", state == State::Created
                                          ? kNoStartUnconfigured
                                          : "Cannot start recording since recording is already in progress");
        }
        if (state != State::Recording) {
            driver.StopRecording();
            refused("StopRecording", kNoStop);
        }
        driver.SetTargetState(3);
        driver.StartRecording();
        driver.StopRecording();
        driver.SetTargetState(7);
        refused("StartRecording without a target", "Cannot start recording unless target is connected");
        refused("StopRecording without a target", "Cannot stop recording unless target is connected");
    }
}

}  // namespace

const std::vector<Check>& DriverChecks() {
    static const std::vector<Check> checks = {
        {"driver-slots",
         "Each operation of a driver, called in the interface's order, does what belongs to it",
         "a plug-in built from other headers answers with the operation beside it", 0, CheckDriverSlots},
        {"driver-progress", "A run-time cast leads to CChannelDriverProgress, which gives 1 of 100",
         "the host finds this interface in no other way", 0, CheckProgress},
        {"driver-refusals",
         "In every state what is not supported is refused with its text and severity 2, without effect",
         "the host shows the text, and the recording must not suffer", 0, CheckDriverRefusals},
        {"state-refusals",
         "A start or stop that does not fit the state is noted in the log and changes nothing",
         "hosts start and stop without asking; the log is where an engineer looks then", 0,
         CheckStateRefusals},
    };
    return checks;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
