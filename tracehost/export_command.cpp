// tracehost export
#include <cstdio>

#include "exports/chrome_writer.h"
#include "exports/csv_writer.h"
#include "exports/json_lines_writer.h"
#include "exports/text_writer.h"
#include "source_utilities/visible_text.h"
#include "tracehost/capture_export.h"
#include "tracehost/commands.h"
#include "tracehost/errors.h"
#include "tracehost/firmware.h"
#include "tracehost/interrupt.h"
#include "tracehost/number_option.h"
#include "tracehost/plugin.h"
#include "tracehost/port_types.h"
#include "tracehost/text_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

struct ExportOptions {
    CaptureRequest capture;
    std::string ports;
    std::string from;
    std::string to;
    std::string format;
    std::string output;
    std::string elf;
    Swo::PortFormats portTypes;
    bool force = false;
    std::string plugin = kDefaultPlugin;
};

constexpr const char* kExportFooter =
    "chrome is read by the Perfetto UI, chrome://tracing and speedscope. csv and jsonl have a line a "
    "packet,\n"
    "text is what the stimulus ports say (port 0, or --ports), byte for byte.\n"
    "\n"
    "Examples:\n"
    "  tracehost export trace.tdf --format chrome --output trace.json --elf firmware.elf\n"
    "  tracehost export trace.bin --format csv --output trace.csv --from 1.5s --to 2s\n"
    "  tracehost export trace.bin --format chrome --output trace.json --port-type 3=f32:speed\n";

/// Times that are none of the target's are told.
void TellTimes(const Capture& capture, const Exports::Axis& times) {
    if (times.kind == Exports::Axis::Kind::Timestamps && capture.scale.clockHz > 0) return;
    std::fprintf(stderr, "%s: %s\n", KORR_PLIM::Visible(capture.name).Text(), times.explained.c_str());
}

class Exporting {
  public:
    explicit Exporting(const ExportOptions& wanted) : options(wanted) {
        request.capture = options.capture;
        request.ports = &options.portTypes;
        if (!options.from.empty()) request.filter.from = ParsePlace("--from", options.from);
        if (!options.to.empty()) request.filter.to = ParsePlace("--to", options.to);
        if (!options.ports.empty() || options.format == "text") {
            request.filter.ports = ParsePorts("--ports", options.ports.empty() ? "0" : options.ports);
        }
        KeepApart(options.capture.file, options.output, options.force);
        if (!options.elf.empty()) symbols = ReadFirmware(options.elf);
        request.symbols = symbols.get();
    }

    int Run() {
        if (options.capture.file == "-") CatchInterrupts();  // the program in front ends the stream
        TextOutput output(options.output, options.force);
        const ExportHooks hooks{[&] {
                                    if (output.Failed()) output.Finish();  // throws
                                },
                                [](const Capture&) {}};
        const int status = Write(output, hooks);
        output.Finish();
        return status;
    }

  private:
    int Write(TextOutput& output, const ExportHooks& hooks) {
        if (options.format == "csv") {
            Exports::CsvWriter writer(output);
            return ExportCaptures(request, writer, hooks);
        }
        if (options.format == "jsonl") {
            Exports::JsonLinesWriter writer(output);
            return ExportCaptures(request, writer, hooks);
        }
        if (options.format == "text") {
            Exports::TextWriter writer(output);
            return ExportCaptures(request, writer, hooks);
        }
        Exports::ChromeWriter writer(output);
        return WriteTimeline(writer, hooks);
    }

    int WriteTimeline(Exports::TimelineSink& writer, ExportHooks hooks) {
        Exports::Timeline timeline(writer);
        hooks.finish = [&](const Capture& capture) { TellTimes(capture, timeline.Times()); };
        return ExportCaptures(request, timeline, hooks);
    }

    const ExportOptions& options;
    ExportRequest request;
    std::unique_ptr<Symbols::ElfSymbols> symbols;
};

}  // namespace

void AddExportCommand(CLI::App& program, int& status) {
    auto options = std::make_shared<ExportOptions>();
    CLI::App* const command = program.add_subcommand("export", "Write a capture for other viewers and tools");
    AddCaptureOptions(*command, options->capture);
    AddLineRate(*command, options->capture);
    AddChoice(*command, "--format", "What is written", {"chrome", "csv", "jsonl", "text"},
              [options](const std::string& word) { options->format = word; })
        ->required();
    AddText(*command, "--output", "FILE", "File to write; - is standard output", options->output)->required();
    AddElf(*command, options->elf);
    AddPortTypes(*command, options->portTypes);
    AddText(*command, "--ports", "PORTS", "Stimulus ports, such as 0,3,8-15 (default: all; of text: 0)",
            options->ports);
    AddText(*command, "--from", "PLACE", "First packet: a time (1.5s, 300ms) or an offset (#12345)",
            options->from);
    AddText(*command, "--to", "PLACE", "Where to end, likewise", options->to);
    command->add_flag("--force", options->force, "Replace a file that is there");
    AddPluginOption(*command, options->plugin);
    command->footer(kExportFooter);
    command->callback([options, &status] { status = Exporting(*options).Run(); });
}

}  // namespace Korr::Plim::Trace::Tracehost
