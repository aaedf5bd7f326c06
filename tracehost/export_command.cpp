// tracehost export
#include "tracehost/commands.h"
#include "tracehost/export_formats.h"
#include "tracehost/firmware.h"
#include "tracehost/number_option.h"
#include "tracehost/plugin.h"
#include "tracehost/port_types.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

struct ExportCommand {
    ExportOptions options;
    std::string plugin = kDefaultPlugin;
};

constexpr const char* kExportFooter =
    "  chrome    JSON for the Perfetto UI, chrome://tracing, speedscope\n"
    "  perfetto  the Perfetto UI's own format\n"
    "  ctf       a folder for babeltrace2 and Trace Compass\n"
    "  vcd       signals for GTKWave\n"
    "  sigrok    the bytes on the line, at most 64 KiB, for PulseView and sigrok-cli\n"
    "  csv       a line a packet; jsonl: a JSON object a packet\n"
    "  folded    PC samples by exception and function, for flame graphs\n"
    "  text      what the stimulus ports say (port 0, or --ports), byte for byte\n"
    "\n"
    "Examples:\n"
    "  tracehost export trace.tdf --format chrome --output trace.json --elf firmware.elf\n"
    "  tracehost export trace.bin --format vcd --output trace.vcd --port-type 3=f32:speed\n"
    "  tracehost export trace.bin --format csv --output trace.csv --from 1.5s --to 2s\n";

}  // namespace

void AddExportCommand(CLI::App& program, int& status) {
    auto wanted = std::make_shared<ExportCommand>();
    ExportOptions& options = wanted->options;
    CLI::App* const command = program.add_subcommand("export", "Write a capture for other viewers and tools");
    AddCaptureOptions(*command, options.capture);
    AddLineRate(*command, options.capture);
    AddChoice(*command, "--format", "What is written", ExportFormats(), [wanted](const std::string& word) {
        wanted->options.format = word;
    })->required();
    AddText(*command, "--output", "FILE", "What to write; - is standard output", options.output)->required();
    AddElf(*command, options.elf);
    AddPortTypes(*command, options.portTypes);
    AddText(*command, "--ports", "PORTS", "Stimulus ports, such as 0,3,8-15 (default: all; of text: 0)",
            options.ports);
    AddText(*command, "--from", "PLACE", "First packet: a time (1.5s, 300ms) or an offset (#12345)",
            options.from);
    AddText(*command, "--to", "PLACE", "Where to end, likewise", options.to);
    command->add_flag("--force", options.force, "Replace what is there");
    AddPluginOption(*command, wanted->plugin);
    command->footer(kExportFooter);
    command->callback([wanted, &status] { status = Export(wanted->options); });
}

}  // namespace Korr::Plim::Trace::Tracehost
