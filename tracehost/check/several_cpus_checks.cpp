// Checks of two CPUs that are traced at once.
#include "tracehost/check/scene.h"
#include "tracehost/check/subjects.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

constexpr const char* kOtherCpu = "board/Cortex_M0";
constexpr uint32_t kOtherId = 8;

void ConfigureOther(Stage& stage, const Scene& scene) {
    const std::string port = std::to_string(stage.Port(1).Port());
    scene.driver.SetConfiguration(stage.WriteOptions({{"COMPORT", port}, {"TSPRESCALAR", "16"}}).c_str());
}

void CheckApart(Stage& stage) {
    const Scene one(stage);
    const Scene other(one, kOtherCpu, kOtherId);
    one.Configure();
    ExpectEqual("GetStatus of the other CPU when one is configured: code", other.driver.Code(),
                uint32_t{kStatusCalibrating});
    ConfigureOther(stage, other);
    one.driver.StartRecording();
    ExpectEqual("GetStatus of the other CPU when one records: code", other.driver.Code(),
                uint32_t{kStatusReady});
    one.receiver.TargetStateChanged(kOtherCpu, 3);
    ExpectEqual("GetStatus of one CPU when the other is gone: code", one.driver.Code(),
                uint32_t{kStatusRecording});
    one.receiver.TargetStateChanged(kOtherCpu, 7);
    one.driver.StopRecording();
    ExpectEqual("GetStatus of the other CPU when one is stopped: code", other.driver.Code(),
                uint32_t{kStatusReady});
    TraceAttribute answer;
    one.driver.GetAttribute("ITM Timestamp Prescale", answer);
    ExpectText("the timestamp prescale of one CPU when the other has another", answer.value, "4");
    ExpectText("calls of the other CPU's target adapter", other.adapter.CallsFrom(0).c_str(), "");
}

void CheckAtOnce(Stage& stage) {
    const Scene one(stage);
    const Scene other(one, kOtherCpu, kOtherId);
    one.Configure();
    ConfigureOther(stage, other);
    one.driver.StartRecording();
    other.driver.StartRecording();
    const std::string first = KnownBytes(6000, 3);
    const std::string second = KnownBytes(7000, 5);
    for (std::size_t at = 0; at < 6000; at += 1000) {
        one.Capture(first.substr(at, 1000), at);
        other.Capture(second.substr(at, 1000), at, 1);
    }
    other.Capture(second.substr(6000), 6000, 1);
    one.driver.StopRecording();
    ExpectEqual("GetStatus of the other CPU when one is stopped: code", other.driver.Code(),
                uint32_t{kStatusRecording});
    ExpectBytes("what one CPU sent", one.ReadAll(), first);
    ExpectBytes("what the other CPU sent", other.ReadAll(), second);
    other.driver.StopRecording();
    ExpectBytes("what the other CPU sent, after the stop", other.ReadAll(), second);
}

}  // namespace

const std::vector<Check>& SeveralCpusChecks() {
    static const std::vector<Check> checks = {
        {"two-cpus-apart", "The drivers of two CPUs have their own state, options and target adapter",
         "a host configures and starts each CPU for itself", 2, CheckApart},
        {"two-cpus-at-once", "Two CPUs record at once, each its own port's bytes",
         "trace of one core must never stand in the other's", 2, CheckAtOnce},
    };
    return checks;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
