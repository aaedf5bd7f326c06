// tracehost decode
#include <cstdio>

#include "exports/csv_writer.h"
#include "exports/json_lines_writer.h"
#include "source_utilities/visible_text.h"
#include "tracehost/captures.h"
#include "tracehost/commands.h"
#include "tracehost/errors.h"
#include "tracehost/interrupt.h"
#include "tracehost/loss_text.h"
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

/// Hands the packets that are wanted to a writer, with offsets that count on from capture to capture.
template <class Writer>
class FilteredRows : public Swo::PacketReceiver {
  public:
    FilteredRows(Writer& target, const PacketFilter& wanted, const Capture& capture)
        : writer(target), filter(wanted), scale(capture.scale), base(capture.base) {}
    void OnPacket(const Swo::Packet& packet, const Swo::PacketTime& time) override {
        Swo::Packet moved = packet;
        moved.offset += base;
        if (filter.Wants(moved, time, scale)) writer.OnPacket(moved, time);
    }

  private:
    Writer& writer;
    const PacketFilter& filter;
    Exports::TimeScale scale;
    uint64_t base;
};

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

/// Text of a part of a capture: it takes the packets' times.
class FilteredText {
  public:
    explicit FilteredText(TextOutput& target) : output(target) {}
    void OnPacket(const Swo::Packet& packet, const Swo::PacketTime&) {
        const Swo::TextBytes text = Swo::TextOf(packet);
        output.Write(reinterpret_cast<const char*>(text.bytes.data()), text.count);
    }

  private:
    TextOutput& output;
};

class Decoding {
  public:
    explicit Decoding(const DecodeRequest& wanted) : request(wanted), output(wanted.output, wanted.force) {
        if (!request.kinds.empty()) SetKinds(filter, request.kinds);
        if (!request.from.empty()) filter.from = ParsePlace("--from", request.from);
        if (!request.to.empty()) filter.to = ParsePlace("--to", request.to);
        if (Text()) {
            filter.ports = ParsePorts("--ports", request.ports.empty() ? "0" : request.ports);
            SetKinds(filter, "stimulus");
        } else if (!request.ports.empty()) {
            filter.ports = ParsePorts("--ports", request.ports);
            if (request.kinds.empty()) SetKinds(filter, "stimulus");
        }
    }

    int Run() {
        if (request.capture.file == "-") CatchInterrupts();  // the program in front ends the stream
        ForEachCapture(request.capture, [this](Capture& capture) { Decode(capture); });
        output.Finish();
        return status;
    }

  private:
    bool Text() const { return request.format == "text"; }

    void Decode(Capture& capture) {
        if (filter.NeedsTime() && capture.scale.clockHz == 0) {
            throw UsageError("a time needs the trace clock, which no recording sheet tells: give --clock");
        }
        if (Text() && !filter.from && !filter.to) {
            PlainText text(output);
            capture.options.text = &text;
            capture.options.textPorts = filter.ports;
            Analyse(capture);
        } else if (Text()) {
            FilteredText text(output);
            WithRows(capture, text);
        } else if (request.format == "csv") {
            if (!csv) csv.emplace(output, capture.scale);
            csv->SetScale(capture.scale);
            WithRows(capture, *csv);
            csv->Flush();
        } else {
            Exports::JsonLinesWriter lines(output, capture.scale);
            WithRows(capture, lines);
            lines.Flush();
        }
    }

    template <class Writer>
    void WithRows(Capture& capture, Writer& writer) {
        FilteredRows<Writer> rows(writer, filter, capture);
        capture.options.packets = &rows;
        Analyse(capture);
    }

    void Analyse(const Capture& capture) {
        Swo::CaptureAnalysis analysis(capture.options);
        const bool live = request.capture.file == "-";
        capture.Read([&](std::span<const uint8_t> bytes) {
            analysis.Feed(bytes);
            if (live) output.Flush();
            if (output.Failed()) output.Finish();  // throws: nobody reads any more
        });
        analysis.Finish();
        Tell(capture, analysis);
    }

    /// On standard error, because standard output is the packets'.
    void Tell(const Capture& capture, Swo::CaptureAnalysis& analysis) {
        Swo::SignalFeatures features = analysis.Features();
        AddHostKnowledge(capture, analysis, features);
        const Swo::SignalVerdict verdict = Swo::Diagnose(features).verdict;
        const bool usable = IsUsable(features, verdict);
        status = WorseStatus(status, StatusOf(analysis.Losses().Totals(), usable, request.capture.failOn));
        const auto& totals = analysis.Losses().Totals();
        if (!usable) {
            std::fprintf(stderr, "%s: nothing usable (%s); \"tracehost diagnose\" tells more\n",
                         KORR_PLIM::Visible(capture.name).Text(),
                         std::string(Swo::SignalVerdictName(verdict)).c_str());
        } else if (totals.lostOnTheWay + totals.lostInTarget > 0) {
            std::fprintf(stderr, "%s: lost: %s; \"tracehost report\" tells where\n",
                         KORR_PLIM::Visible(capture.name).Text(), SummariseLosses(totals).c_str());
        }
    }

    const DecodeRequest& request;
    TextOutput output;
    PacketFilter filter;
    std::optional<Exports::CsvWriter> csv;
    int status = kDone;
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
    command->add_flag("--force", request->force, "Replace a file that is there");
    AddPluginOption(*command, request->plugin);
    command->footer(kDecodeFooter);
    command->callback([request, &status] { status = Decoding(*request).Run(); });
}

}  // namespace Korr::Plim::Trace::Tracehost
