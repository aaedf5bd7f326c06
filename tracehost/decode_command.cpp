// tracehost decode
#include "exports/csv_writer.h"
#include "exports/json_lines_writer.h"
#include "exports/text_writer.h"
#include "tracehost/capture_export.h"
#include "tracehost/commands.h"
#include "tracehost/firmware.h"
#include "tracehost/interrupt.h"
#include "tracehost/number_option.h"
#include "tracehost/packet_filter.h"
#include "tracehost/plugin.h"
#include "tracehost/text_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

struct DecodeRequest {
    CaptureRequest capture;
    std::string kinds;
    std::string ports;
    std::string from;
    std::string to;
    std::string format = "text";
    std::string output = "-";
    std::string elf;
    bool force = false;
    std::string plugin = kDefaultPlugin;
};

constexpr const char* kDecodeFooter =
    "text is what the stimulus ports say (port 0, or --ports), byte for byte. csv and jsonl have a line a "
    "packet;\n"
    "--ports alone then means stimulus packets of these ports. A time counts from the capture's beginning "
    "and needs\n"
    "the trace clock; #N is an offset.\n"
    "\n"
    "Examples:\n"
    "  tracehost decode trace.tdf\n"
    "  tracehost decode trace.bin --format csv --output trace.csv\n"
    "  tracehost decode trace.bin --format csv --kinds exception,pc-sample --from 1.5s --to 2s\n"
    "  tracehost record --output - --seconds 10 | tracehost decode - --ports 0,1\n";

/// Text of stimulus ports, at once.
class PlainText : public Swo::TextReceiver {
  public:
    explicit PlainText(TextOutput& target) : output(target) {}
    void Write(uint8_t, const uint8_t* bytes, std::size_t count) override {
        output.Write(reinterpret_cast<const char*>(bytes), count);
    }

  private:
    TextOutput& output;
};

class Decoding {
  public:
    explicit Decoding(const DecodeRequest& wanted)
        : request(Checked(wanted)),
          symbols(wanted.elf.empty() ? nullptr : ReadFirmware(wanted.elf)),
          output(wanted.output, wanted.force) {
        if (!request.kinds.empty()) SetKinds(filter, request.kinds);
        SetStretch(filter, request.from, request.to);
        if (Text()) {
            filter.ports = ParsePorts("--ports", request.ports.empty() ? "0" : request.ports);
            SetKinds(filter, "stimulus");
        } else if (!request.ports.empty()) {
            filter.ports = ParsePorts("--ports", request.ports);
            if (request.kinds.empty()) SetKinds(filter, "stimulus");
        }
    }

    int Run() {
        const bool live = request.capture.file == "-";
        if (live) CatchInterrupts();  // the program in front ends the stream
        const int status = Text() && !filter.from && !filter.to ? PrintText(live) : WritePackets(live);
        output.Finish();
        return status;
    }

  private:
    /// Before the output is made, or replaced.
    static const DecodeRequest& Checked(const DecodeRequest& wanted) {
        KeepApart(wanted.capture.file, wanted.output, wanted.force);
        return wanted;
    }

    bool Text() const { return request.format == "text"; }

    void Look(bool live) {
        if (live) output.Flush();
        if (output.Failed()) output.Finish();  // throws: nobody reads any more
    }

    /// At once, without waiting for the packets' times.
    int PrintText(bool live) {
        int status = kDone;
        PlainText text(output);
        ForEachCapture(request.capture, [&](Capture& capture) {
            capture.options.text = &text;
            capture.options.textPorts = filter.ports;
            Swo::CaptureAnalysis analysis(capture.options);
            capture.Read([&](std::span<const uint8_t> bytes) {
                analysis.Feed(bytes);
                Look(live);
            });
            analysis.Finish();
            status = WorseStatus(status, TellLosses(capture, analysis, request.capture.failOn));
        });
        return status;
    }

    int WritePackets(bool live) {
        std::unique_ptr<Exports::CaptureWriter> writer;
        if (Text()) {
            writer = std::make_unique<Exports::TextWriter>(output);
        } else if (request.format == "csv") {
            writer = std::make_unique<Exports::CsvWriter>(output);
        } else {
            writer = std::make_unique<Exports::JsonLinesWriter>(output);
        }
        return ExportCaptures({request.capture, filter, symbols.get(), nullptr, nullptr}, *writer,
                              {[&] { Look(live); }, [](const Capture&) {}});
    }

    const DecodeRequest& request;
    std::unique_ptr<Symbols::ElfSymbols> symbols;
    TextOutput output;
    PacketFilter filter;
};

}  // namespace

void AddDecodeCommand(CLI::App& program, int& status) {
    auto request = std::make_shared<DecodeRequest>();
    CLI::App* const command = program.add_subcommand("decode", "Show the packets or the text in a capture");
    AddCaptureOptions(*command, request->capture);
    AddText(*command, "--kinds", "KINDS", "Kinds of packets, such as stimulus,exception (default: all)",
            request->kinds);
    AddText(*command, "--ports", "PORTS", "Stimulus ports, such as 0,3,8-15", request->ports);
    AddText(*command, "--from", "PLACE", "First packet: a time (1.5s, 300ms) or an offset (#12345)",
            request->from);
    AddText(*command, "--to", "PLACE", "Where to end, likewise", request->to);
    AddChoice(*command, "--format", "What is written", {"text", "csv", "jsonl"},
              [request](const std::string& word) { request->format = word; });
    AddText(*command, "--output", "FILE", "File to write; - is standard output", request->output)
        ->default_str("-");
    AddElf(*command, request->elf);
    command->add_flag("--force", request->force, "Replace a file that is there");
    AddPluginOption(*command, request->plugin);
    command->footer(kDecodeFooter);
    command->callback([request, &status] { status = Decoding(*request).Run(); });
}

}  // namespace Korr::Plim::Trace::Tracehost
