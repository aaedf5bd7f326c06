// tracehost record
#include <algorithm>
#include <memory>

#include "tracehost/commands.h"
#include "tracehost/errors.h"
#include "tracehost/json_output.h"
#include "tracehost/live_analysis.h"
#include "tracehost/log_level.h"
#include "tracehost/number_option.h"
#include "tracehost/packet_filter.h"
#include "tracehost/record_settings.h"
#include "tracehost/recording.h"
#include "tracehost/sheet_file.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr NumberOption kSeconds{"--seconds", Measure::Time, 0.001, 30.0 * 24 * 3600};
constexpr NumberOption kWait{"--wait-for-port", Measure::Time, 0, 30.0 * 24 * 3600};
constexpr uint32_t kDemoPrescaler = 11;  // 2 Mbaud of the 24 MHz target, which every machine keeps up with
constexpr NumberOption kBytes{"--bytes", Measure::Size, 1, 8.0 * UINT32_MAX, true};

constexpr const char* kFooter =
    "Without --seconds and --bytes it records until Ctrl-C; what was captured is always saved.\n"
    "Without --board and TRACEHOST_BOARD it takes a target whose firmware sets up its own TPIU: give "
    "--clock\n"
    "and --prescaler as the firmware has them.\n"
    "\n"
    "Examples:\n"
    "  tracehost record --demo --seconds 3 --output demo.tdf\n"
    "  tracehost record --port 5 --clock 48000000 --prescaler 23 --seconds 10 --output trace.tdf\n";

/// Refuses combinations that would ignore what the user gave.
void CheckCombination(const RecordRequest& request, const std::vector<CLI::Option*>& settings) {
    for (const CLI::Option* const setting : settings) {
        if (!request.options.empty() && setting->count() > 0) {
            throw UsageError(setting->get_name() + " cannot be given with --options: the file says it");
        }
    }
    if (request.demo && !request.options.empty()) {
        throw UsageError(
            "--demo brings its own port, which an options file cannot name: leave --options out");
    }
    if (request.demo && (request.port || !request.board.empty())) {
        throw UsageError("--demo brings its own board and port: leave --board and --port out");
    }
}

/// What becomes of the trace: where it goes, and what is shown meanwhile.
void AddOutput(CLI::App& command, RecordRequest& request) {
    AddText(command, "--output", "FILE",
            "File to save into (default: swo-<date>-<time>.tdf or .bin); -: standard output", request.output);
    AddChoice(
        command, "--format",
        "tdf: a section of a TDF file; raw: the bytes alone (default: raw for .bin, .raw, pipes and devices)",
        {"tdf", "raw"}, [&request](const auto& text) { request.format = text; });
    command.add_flag(
        "--force", request.force,
        "Replace an existing file; without it a TDF file gets one more section, any other is refused");
    command.add_flag("--quiet", request.quiet, "Show neither progress nor summary");
    AddJsonFlag(command, request.json);
}

/// A port that is not there.
void AddWaiting(CLI::App& command, RecordRequest& request) {
    AddNumber(command, kWait, "Wait so long for a port that is not there yet",
              [&request](auto seconds) { request.waitForPort = seconds; });
    command.add_flag("--reconnect", request.reconnect,
                     "Go on when a port that went away is back: into a new section, or a new file when raw");
}

int Run(const RecordRequest& request) {
    WarnOfLogLevel();
    if (request.print && request.output == "-") {
        throw UsageError("--print and --output - both write on standard output: leave one of them out");
    }
    if (request.print && request.json) {
        throw UsageError("--print and --json both write on standard output: leave one of them out");
    }
    std::FILE* const standardOutput = TakeStandardOutput();
    Recording recording(request, standardOutput);
    LiveAnalysis live(request, standardOutput);
    recording.Observe(live);
    recording.ShowBeside([&] {
        live.WatchPort(recording.Port());
        return live.Line();
    });
    std::string sheetProblem;
    recording.AfterPart([&](const RecordingResult& result) {
        const RecordingSheet sheet = live.EndPart(result);
        if (recording.File().IsStream()) return;
        try {
            WriteSheetOf(recording.File().Name(), recording.File().Raw(), sheet);
        } catch (const HostError& error) {
            sheetProblem = error.what();
        }
    });
    recording.AtEnd([&](std::FILE* output) {
        const int status = live.Finish(recording.Result(), output);
        if (sheetProblem.empty()) return status;
        std::fprintf(stderr, "tracehost: %s\n", sheetProblem.c_str());
        return std::max(status, kFailed);
    });
    return recording.Run();
}

/// What is decoded while it is recorded.
void AddDecoding(CLI::App& command, RecordRequest& request) {
    command
        .add_option_function<std::string>(
            "--print", [&request](const std::string& list) { request.print = ParsePorts("--print", list); },
            "Print the text of these stimulus ports on standard output, such as 0,3,8-15")
        ->type_name("PORTS");
    command.add_flag("--explain", request.explain,
                     "Show the search for the prescaler: rates asked, rates taken, and the error");
    AddCounterPort(command, request.counterPort);
    AddFailOn(command, request.failOn);
}

}  // namespace

void AddRecordCommand(CLI::App& program, int& status) {
    auto request = std::make_shared<RecordRequest>();
    CLI::App* const command = program.add_subcommand("record", "Record the SWO trace of one CPU into a file");
    AddText(*command, "--board", "FILE", "Board file (default: TRACEHOST_BOARD)", request->board);
    AddText(*command, "--cpu", "NAME", "Name of the CPU (default: board/cpu)", request->cpu);
    AddText(*command, "--options", "FILE",
            "Options file (see \"tracehost options\") instead of the next five", request->options);
    const auto settings = AddSettings(*command, *request);
    command->add_flag("--demo", request->demo, "Record a simulated board and signal");
    AddNumber(*command, kSeconds, "Stop after this time",
              [request](auto seconds) { request->seconds = seconds; });
    AddNumber(*command, kBytes,
              "Stop after this many bytes and save exactly those, rounded up to a sample of 8",
              [request](auto bytes) { request->bytes = bytes; });
    AddOutput(*command, *request);
    AddWaiting(*command, *request);
    AddDecoding(*command, *request);
    AddPluginOption(*command, request->plugin);
    command->footer(kFooter);
    command->callback([request, settings, command, &status] {
        CheckCombination(*request, settings);
        const bool ratesGiven = request->clock || command->get_option("--prescaler")->count() > 0;
        if (request->demo && !ratesGiven) request->prescaler = kDemoPrescaler;
        status = Run(*request);
    });
}

}  // namespace Korr::Plim::Trace::Tracehost
