// tracehost record
#include <memory>

#include "tracehost/captures.h"
#include "tracehost/commands.h"
#include "tracehost/errors.h"
#include "tracehost/firmware.h"
#include "tracehost/json_output.h"
#include "tracehost/number_option.h"
#include "tracehost/packet_filter.h"
#include "tracehost/port_types.h"
#include "tracehost/record_target.h"
#include "tracehost/standard_output.h"
#include "tracehost/take_recording.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr NumberOption kSeconds{"--seconds", Measure::Time, 0.001, 30.0 * 24 * 3600};
constexpr NumberOption kWait{"--wait-for-port", Measure::Time, 0, 30.0 * 24 * 3600};
constexpr NumberOption kBytes{"--bytes", Measure::Size, 1, 8.0 * UINT32_MAX, true};
constexpr NumberOption kTcp{"--tcp", Measure::Count, 0, UINT16_MAX, true};

constexpr const char* kFooter =
    "Without --seconds and --bytes it records until Ctrl-C; what was captured is always saved.\n"
    "Without --board and TRACEHOST_BOARD it takes a target whose firmware sets up its own TPIU: give "
    "--clock\n"
    "and --prescaler as the firmware has them.\n"
    "\n"
    "Examples:\n"
    "  tracehost record --demo --seconds 3 --output demo.tdf\n"
    "  tracehost record --port 5 --clock 48000000 --prescaler 23 --seconds 10 --output trace.tdf\n";

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

/// Who else gets the trace, or sees it, meanwhile.
void AddLive(CLI::App& command, RecordRequest& request) {
    AddNumber(
        command, kTcp,
        "Give the raw bytes, as they come, to programs that connect to this port of 127.0.0.1; 0: any port",
        [&request](auto port) { request.tcpPort = static_cast<uint16_t>(*port); });
    CLI::Option* const view = command.add_flag("--view", request.view,
                                               "Show the recording in the browser while it is made; when it "
                                               "has ended by itself, until Ctrl-C if standard input is a "
                                               "terminal");
    command.add_flag("--no-browser", request.noBrowser, "With --view: tell the page's address alone");
    AddElf(command, request.elf)->needs(view);
    AddPortTypes(command, request.portFormats);
    command.get_option("--port-type")->needs(view);
}

/// A port that is not there.
void AddWaiting(CLI::App& command, RecordRequest& request) {
    AddNumber(command, kWait, "Wait so long for a port that is not there yet",
              [&request](auto seconds) { request.waitForPort = seconds; });
    command.add_flag("--reconnect", request.reconnect,
                     "Go on when a port that went away is back: into a new section, or a new file when raw");
}

/// What writes on standard output has it for itself.
int Run(const RecordRequest& request) {
    if (request.noBrowser && !request.view) throw UsageError("--no-browser belongs to --view");
    if (request.print && request.output == "-") {
        throw UsageError("--print and --output - both write on standard output: leave one of them out");
    }
    if (request.print && request.json) {
        throw UsageError("--print and --json both write on standard output: leave one of them out");
    }
    return TakeRecording(request, TakeStandardOutput());
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
    const auto target = AddTarget(*command, *request);
    AddNumber(*command, kSeconds, "Stop after this time",
              [request](auto seconds) { request->seconds = seconds; });
    AddNumber(*command, kBytes,
              "Stop after this many bytes and save exactly those, rounded up to a sample of 8",
              [request](auto bytes) { request->bytes = bytes; });
    AddOutput(*command, *request);
    AddLive(*command, *request);
    AddWaiting(*command, *request);
    AddDecoding(*command, *request);
    AddPluginOption(*command, request->plugin);
    command->footer(kFooter);
    command->callback([request, target, &status] {
        SettleTarget(*request, target);
        status = Run(*request);
    });
}

}  // namespace Korr::Plim::Trace::Tracehost
