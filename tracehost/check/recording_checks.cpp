// Checks of recordings that go well.
#include "tracehost/check/scene.h"
#include "tracehost/check/subjects.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

constexpr std::size_t kMany = 20000;

void CheckBytes(Stage& stage) {
    const Scene scene(stage);
    scene.BringTo(State::Recording);
    const std::string bytes = KnownBytes(kMany);
    scene.Capture(bytes.substr(0, 13000));
    ExpectBytes("what was captured, read while recording", scene.ReadAll(), Padded(bytes.substr(0, 13000)));
    scene.Capture(bytes.substr(13000), 13000);
    scene.driver.StopRecording();
    ExpectEqual("GetStatus after the stop: code", scene.driver.Code(), uint32_t{kStatusStoppedByUser});
    ExpectBytes("what was captured, read after the stop", scene.ReadAll(), bytes);
    ExpectBytes("the capture file", Stage::Read(Stage::CaptureFile(kCpuShortName)), bytes);
}

void CheckAgain(Stage& stage) {
    const Scene scene(stage);
    scene.BringTo(State::Recording);
    scene.Capture(KnownBytes(5000));
    scene.driver.StopRecording();
    for (const std::size_t count : {std::size_t{800}, std::size_t{0}, std::size_t{1200}}) {
        scene.driver.StartRecording();
        ExpectEqual("GetNumSamples at the start of another recording", scene.driver.GetNumSamples(), 0u);
        const std::string bytes = KnownBytes(count, 7);
        if (count > 0) scene.Capture(bytes);
        scene.driver.StopRecording();
        ExpectBytes("what another recording captured", scene.ReadAll(), bytes);
    }
}

void CheckTpiu(Stage& stage) {
    Scene scene(stage);
    scene.driver.SetConfiguration(stage.WriteOptions({{"TSPRESCALAR", "16"}}).c_str());
    ExpectText("calls of the target adapter before the start", scene.adapter.CallsFrom(0).c_str(), "");
    scene.driver.StartRecording();
    ExpectText("calls of the target adapter at the start", scene.adapter.CallsFrom(0).c_str(),
               "TraceExportOpA, TraceExportOpB, GetExportStatus, SetTpiuPrescaler 9, SetTpiuPinProtocol 2, "
               "SetTimestampPrescale 16, ProgramTpiu, EnableTpiu");
    std::size_t calls = scene.adapter.calls.size();
    scene.driver.StopRecording();
    ExpectText("calls of the target adapter at the stop", scene.adapter.CallsFrom(calls).c_str(),
               "TraceExportOpB, TraceExportOpA");
    calls = scene.adapter.calls.size();
    scene.Release();
    ExpectText("calls of the target adapter at the release", scene.adapter.CallsFrom(calls).c_str(),
               "GetExportStatus, TraceExportOpB, TraceRelease");
}

void CheckExportStatus(Stage& stage) {
    Scene scene(stage);
    scene.Configure();
    scene.adapter.exportStatus = 0xF00D0005;
    scene.driver.StartRecording();
    ExpectEqual("ClearExportStatus's calls", scene.adapter.Count("ClearExportStatus"), 1u);
    ExpectEqual("the export status that is left", scene.adapter.exportStatus, 0u);
    Expect(stage.Log().find("Trace export (xmtr) status 0xf00d0005.") != std::string::npos,
           "the log does not tell the export status 0xf00d0005");
}

}  // namespace

const std::vector<Check>& RecordingChecks() {
    static const std::vector<Check> checks = {
        {"recording-bytes",
         "Every byte that the port sends is captured, once and in order, and can be read at once",
         "a byte that is lost, doubled or changed makes the trace behind it worthless", 1, CheckBytes},
        {"recording-again", "Another recording starts empty, and holds its own bytes alone",
         "trace of an earlier run must not stand before this one's", 1, CheckAgain},
        {"recording-tpiu", "A start programs the target's TPIU from the options, in the one order that works",
         "the pin must be silent until everything is set", 1, CheckTpiu},
        {"recording-export-status", "An export status is told in the log and cleared with its own value",
         "an overflow of the probe would be told again at every start", 1, CheckExportStatus},
    };
    return checks;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
