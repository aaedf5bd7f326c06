// tracehost diagnose
#include "tracehost/captures.h"
#include "tracehost/commands.h"
#include "tracehost/diagnosis_text.h"
#include "tracehost/errors.h"
#include "tracehost/plugin.h"
#include "tracehost/text_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

struct DiagnoseRequest {
    CaptureRequest capture;
    std::string plugin = kDefaultPlugin;
};

constexpr const char* kDiagnoseFooter =
    "Examples, the first of which looks at a live port:\n"
    "  tracehost record --port 5 --clock 48MHz --prescaler 23 --seconds 2 --output trace.bin\n"
    "  tracehost diagnose trace.bin\n";

int RunDiagnose(const DiagnoseRequest& request) {
    TextOutput output("-", false);
    int status = kDone;
    ForEachCapture(request.capture, [&](Capture& capture) {
        Swo::CaptureAnalysis analysis(capture.options);
        capture.Read([&](std::span<const uint8_t> bytes) {
            // The beginning decides; the rest is read, so that a file that cannot be read is noticed.
            if (analysis.Bytes() < Swo::CaptureAnalysis::kHead) analysis.Feed(bytes);
        });
        analysis.Finish();
        Swo::SignalFeatures features = analysis.Features();
        AddHostKnowledge(capture, analysis, features);
        const Swo::Diagnosis diagnosis = Swo::Diagnose(features);
        std::string text = capture.name + ": " + VerdictLine(features, diagnosis) + "\n";
        for (const std::string& line : Advice(features, diagnosis, capture.sheet)) text += "  " + line + "\n";
        text += "Measured:\n";
        for (const std::string& line : DescribeFeatures(features)) text += "  " + line + "\n";
        output.Print(text);
        const bool usable = IsUsable(features, diagnosis.verdict);
        status =
            WorseStatus(status, usable || request.capture.failOn == FailOn::Never ? kDone : kNothingUsable);
    });
    output.Finish();
    return status;
}

}  // namespace

void AddDiagnoseCommand(CLI::App& program, int& status) {
    auto request = std::make_shared<DiagnoseRequest>();
    CLI::App* const command =
        program.add_subcommand("diagnose", "Say why a capture is as it is, and what can be done about it");
    AddCaptureOptions(*command, request->capture);
    AddPluginOption(*command, request->plugin);
    command->footer(kDiagnoseFooter);
    command->callback([request, &status] { status = RunDiagnose(*request); });
}

}  // namespace Korr::Plim::Trace::Tracehost
