// tracehost diagnose
#include "source_utilities/visible_text.h"
#include "tracehost/captures.h"
#include "tracehost/commands.h"
#include "tracehost/diagnosis_text.h"
#include "tracehost/errors.h"
#include "tracehost/number_option.h"
#include "tracehost/own_board.h"
#include "tracehost/plugin.h"
#include "tracehost/record_target.h"
#include "tracehost/take_recording.h"
#include "tracehost/temporary_folder.h"
#include "tracehost/text_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr NumberOption kLookSeconds{"--seconds", Measure::Time, 0.001, 3600};
constexpr double kLookFor = 2;  // seconds

struct DiagnoseRequest {
    CaptureRequest capture;
    RecordRequest record;
};

constexpr const char* kDiagnoseFooter =
    "Without FILE the port is recorded for a moment; nothing is kept of that. --clock and\n"
    "--timestamp-prescale of a FILE come from its recording sheet unless given.\n"
    "\n"
    "Examples:\n"
    "  tracehost diagnose --port 5 --clock 48MHz --prescaler 23\n"
    "  tracehost diagnose trace.bin\n"
    "  tracehost diagnose --demo\n";

/// \param ofPort the captures are named after the port that they came from \return the exit status
int Diagnose(const CaptureRequest& request, bool ofPort, TextOutput& output) {
    int status = kDone;
    ForEachCapture(request, [&](Capture& capture) {
        Swo::CaptureAnalysis analysis(capture.options);
        capture.Read([&](std::span<const uint8_t> bytes) {
            // The beginning decides; the rest is read, so that a file that cannot be read is noticed.
            if (analysis.Bytes() < Swo::CaptureAnalysis::kHead) analysis.Feed(bytes);
        });
        analysis.Finish();
        Swo::SignalFeatures features = analysis.Features();
        AddHostKnowledge(capture, analysis, features);
        const Swo::Diagnosis diagnosis = Swo::Diagnose(features);
        std::string text = KORR_PLIM::Visible(ofPort ? capture.sheet.port : capture.name).Text() +
                           std::string(": ") + VerdictLine(features, diagnosis) + "\n";
        for (const std::string& line : Advice(features, diagnosis, capture.sheet)) text += "  " + line + "\n";
        text += "Measured:\n";
        for (const std::string& line : DescribeFeatures(features)) text += "  " + line + "\n";
        output.Print(text);
        const bool usable = IsUsable(features, diagnosis.verdict);
        status = WorseStatus(status, usable || request.failOn == FailOn::Never ? kDone : kNothingUsable);
    });
    return status;
}

/// Records for a moment, as "tracehost record" does, and diagnoses that. More than the check looks at is not
/// waited for.
int DiagnosePort(DiagnoseRequest request, TextOutput& output) {
    const TemporaryFolder folder;
    request.record.output = request.capture.file = folder.Path("look.bin");
    request.record.bytes = Swo::CaptureAnalysis::kHead;
    request.record.quiet = true;
    request.record.failOn = FailOn::Never;
    const int recorded = TakeRecording(request.record, output.Stream());
    return WorseStatus(recorded, Diagnose(request.capture, true, output));
}

/// Two settings of a port tell of a file, too.
bool IsOfFiles(const CLI::Option* option) {
    return option->check_name("--clock") || option->check_name("--timestamp-prescale");
}

/// \param ofPorts options that say what is recorded \param section the one of a file alone
void CheckWhatIsMeant(const CaptureRequest& request, const std::vector<CLI::Option*>& ofPorts,
                      const CLI::Option* section) {
    const bool ofFile = !request.file.empty();
    bool anyGiven = false;
    for (const CLI::Option* const option : ofPorts) {
        anyGiven = anyGiven || option->count() > 0;
        if (!ofFile || option->count() == 0 || IsOfFiles(option)) continue;
        throw UsageError(option->get_name() + " cannot be given with FILE: it is for looking at a port");
    }
    if (ofFile) return;
    if (section->count() > 0) throw UsageError("--section is for a FILE, and none is given");
    if (anyGiven || EnvironmentNamesBoard()) return;
    throw UsageError(
        "name a FILE, or the port to look at (--port, with --clock and --prescaler): see \"tracehost "
        "diagnose --help\"");
}

int Run(const DiagnoseRequest& request) {
    TextOutput output("-", false);
    const int status = request.capture.file.empty() ? DiagnosePort(request, output)
                                                    : Diagnose(request.capture, false, output);
    output.Finish();
    return status;
}

}  // namespace

void AddDiagnoseCommand(CLI::App& program, int& status) {
    auto request = std::make_shared<DiagnoseRequest>();
    CLI::App* const command = program.add_subcommand(
        "diagnose", "Say why a capture, or what a port gives, is as it is, and what can be done about it");
    request->record.seconds = kLookFor;
    command->add_option("FILE", request->capture.file, "Raw or TDF file; - is standard input; none: a port")
        ->type_name("");
    const TargetOptions target = AddTarget(*command, request->record);
    std::vector<CLI::Option*> ofPorts = target.settings;
    ofPorts.insert(ofPorts.end(), target.others.begin(), target.others.end());
    ofPorts.push_back(AddNumber(*command, kLookSeconds, "Look at a port for so long (default: 2 s)",
                                [request](auto seconds) { request->record.seconds = seconds; }));
    CLI::Option* const section = AddSection(*command, request->capture);
    AddDecodingOptions(*command, request->capture);
    AddPluginOption(*command, request->record.plugin);
    command->footer(kDiagnoseFooter);
    command->callback([=, &status] {
        CheckWhatIsMeant(request->capture, ofPorts, section);
        SettleTarget(request->record, target);
        request->capture.clock = request->record.clock;
        const bool prescaleGiven = command->get_option("--timestamp-prescale")->count() > 0;
        if (prescaleGiven) request->capture.timestampPrescale = request->record.timestampPrescale;
        status = Run(*request);
    });
}

}  // namespace Korr::Plim::Trace::Tracehost
