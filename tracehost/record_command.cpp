// tracehost record
#include <memory>

#include "tracehost/commands.h"
#include "tracehost/errors.h"
#include "tracehost/log_level.h"
#include "tracehost/number_option.h"
#include "tracehost/record_settings.h"
#include "tracehost/recording.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr NumberOption kSeconds{"--seconds", Measure::Time, 0.001, 30.0 * 24 * 3600};
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

int Run(const RecordRequest& request) {
    WarnOfLogLevel();
    Recording(request, TakeStandardOutput()).Run();
    return kDone;
}

}  // namespace

void AddRecordCommand(CLI::App& program, int& status) {
    auto request = std::make_shared<RecordRequest>();
    CLI::App* const command = program.add_subcommand("record", "Record the SWO trace of one CPU into a file");
    command->add_option("--board", request->board, "Board file (default: TRACEHOST_BOARD)")
        ->type_name("FILE");
    command->add_option("--cpu", request->cpu, "Name of the CPU")->type_name("NAME")->capture_default_str();
    command
        ->add_option("--options", request->options,
                     "Options file (see \"tracehost options\") instead of the next five")
        ->type_name("FILE");
    const auto settings = AddSettings(*command, *request);
    command->add_flag("--demo", request->demo, "Record a simulated board and signal");
    AddNumber(*command, kSeconds, "Stop after this time",
              [request](auto seconds) { request->seconds = seconds; });
    AddNumber(*command, kBytes, "Stop after this many bytes",
              [request](auto bytes) { request->bytes = bytes; });
    command->add_option("--output", request->output,
                        "File to save into (default: swo-<date>-<time>.tdf or .bin)");
    AddChoice(*command, "--format", "tdf (the default): a section of a TDF file; raw: the bytes alone",
              {"tdf", "raw"}, [request](const auto& text) { request->format = text; });
    AddPluginOption(*command, request->plugin);
    command->footer(kFooter);
    command->callback([request, settings, &status] {
        CheckCombination(*request, settings);
        status = Run(*request);
    });
}

}  // namespace Korr::Plim::Trace::Tracehost
