#include "tracehost/export_formats.h"

#include <cmath>
#include <cstdio>
#include <filesystem>

#include "exports/chrome_writer.h"
#include "exports/csv_writer.h"
#include "exports/ctf_writer.h"
#include "exports/folded_writer.h"
#include "exports/json_lines_writer.h"
#include "exports/perfetto_writer.h"
#include "exports/sigrok_writer.h"
#include "exports/text_writer.h"
#include "exports/vcd_writer.h"
#include "source_utilities/visible_text.h"
#include "tracehost/capture_export.h"
#include "tracehost/errors.h"
#include "tracehost/firmware.h"
#include "tracehost/human_numbers.h"
#include "tracehost/interrupt.h"
#include "tracehost/text_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

void Tell(const Capture& capture, const std::string& text) {
    std::fprintf(stderr, "%s: %s\n", KORR_PLIM::Visible(capture.name).Text(), text.c_str());
}

/// Times that are none of the target's are told.
void TellTimes(const Capture& capture, const Exports::Axis& times) {
    if (times.kind == Exports::Axis::Kind::Timestamps && capture.scale.clockHz > 0) return;
    Tell(capture, times.explained);
}

/// A format's writers, with what they need to be told about.
class Exporting {
  public:
    explicit Exporting(const ExportOptions& wanted) : options(wanted) {
        request.capture = options.capture;
        request.ports = &options.portTypes;
        SetStretch(request.filter, options.from, options.to);
        if (!options.ports.empty() || options.format == "text") {
            request.filter.ports = ParsePorts("--ports", options.ports.empty() ? "0" : options.ports);
        }
        if (options.format == "text") request.matter = ExportMatter::Text;
        if (options.format == "folded") request.matter = ExportMatter::Samples;
        KeepApart(options.capture.file, options.output, options.force);
        if (!options.elf.empty()) symbols = ReadFirmware(options.elf);
        request.symbols = symbols.get();
        if (options.capture.file == "-") CatchInterrupts();  // the program in front ends the stream
    }

    template <class Writer>
    int WritePackets() {
        TextOutput output(options.output, options.force);
        Writer writer(output);
        return Finish(output, ExportCaptures(request, writer, HooksOf(output)));
    }
    template <class Writer>
    int WriteTimeline() {
        TextOutput output(options.output, options.force);
        Writer writer(output);
        return Finish(output, WriteTimeline(writer, HooksOf(output)));
    }
    int WriteVcd();
    int WriteCtf();
    int WriteSigrok();

  private:
    static ExportHooks HooksOf(TextOutput& output) {
        return {[&output] {
                    // It throws: nobody reads any more, or the disk is full.
                    if (output.Failed()) output.Finish();
                },
                [](const Capture&) {}};
    }
    static int Finish(TextOutput& output, int status) {
        output.Finish();
        return status;
    }
    int WriteTimeline(Exports::TimelineSink& writer, ExportHooks hooks) {
        Exports::Timeline timeline(writer);
        hooks.finish = [&](const Capture& capture) { TellTimes(capture, timeline.Times()); };
        return ExportCaptures(request, timeline, hooks);
    }
    bool MakeFolder() const;
    int WriteIntoFolder();
    uint64_t LineRate(const Capture& capture) const;
    void WriteWindow(const Capture& capture, TextOutput& output, Swo::CaptureAnalysis& analysis) const;

    const ExportOptions& options;
    ExportRequest request;
    std::unique_ptr<Symbols::ElfSymbols> symbols;
};

/// Its signals are looked for first.
int Exporting::WriteVcd() {
    std::error_code failure;
    if (!std::filesystem::is_regular_file(options.capture.file, failure)) {
        throw UsageError("\"" + options.capture.file +
                         "\": a VCD file takes two looks at the capture: save it to a file first");
    }
    request.onlyOne = "a VCD file holds";
    TextOutput output(options.output, options.force);
    Exports::VcdSignals signals;
    ExportRequest first = request;
    first.isSurvey = true;
    try {
        ExportCaptures(first, signals, {[] {}, [](const Capture&) {}});
    } catch (const UsageError&) {
        throw;
    } catch (const HostError&) {  // a damaged file: the second look tells it, behind what there is
    }
    Exports::VcdWriter writer(output, signals);
    return Finish(output, WriteTimeline(writer, HooksOf(output)));
}

/// \return whether there was none
bool Exporting::MakeFolder() const {
    namespace fs = std::filesystem;
    const fs::path folder = options.output;
    std::error_code failure;
    if (options.output == "-") throw UsageError("--output \"-\": ctf is a folder: name one");
    if (!fs::exists(folder, failure)) {
        if (fs::create_directory(folder, failure)) return true;
        throw UsageError("\"" + options.output + "\" cannot be made: " + failure.message());
    }
    if (!fs::is_directory(folder, failure)) {
        throw UsageError("\"" + options.output + "\" is no folder, as ctf is: give another name");
    }
    if (!options.force) {
        throw UsageError("\"" + options.output + "\" exists: give another name, or --force to replace it");
    }
    for (const char* const part : {"metadata", "stream"}) {
        KeepApart(options.capture.file, (folder / part).string(), true);
    }
    for (const auto& entry : fs::directory_iterator(folder, failure)) {
        const std::string name = entry.path().filename().string();
        if (name == "metadata" || name == "stream") continue;
        throw UsageError("\"" + options.output + "\" holds \"" + name +
                         "\", which is no part of this format: give another name");
    }
    return false;
}

/// Of an export that is refused no folder is left.
int Exporting::WriteCtf() {
    const bool made = MakeFolder();
    try {
        return WriteIntoFolder();
    } catch (...) {
        std::error_code failure;
        if (made) std::filesystem::remove(options.output, failure);  // as long as nothing is in it
        throw;
    }
}

int Exporting::WriteIntoFolder() {
    request.onlyOne = "a ctf folder holds";
    const std::filesystem::path folder = options.output;
    TextOutput metadata((folder / "metadata").string(), options.force);
    TextOutput stream((folder / "stream").string(), options.force);
    Exports::CtfWriter writer(metadata, stream);
    const int status = WriteTimeline(writer, HooksOf(stream));
    metadata.Finish();
    return Finish(stream, status);
}

/// Where nobody tells the rate any does, for who decodes the picture is told the same.
uint64_t Exporting::LineRate(const Capture& capture) const {
    constexpr double kAny = 1e6;
    const RecordingSheet& sheet = capture.sheet;
    const auto known = capture.baud ? capture.baud : sheet.baudTaken ? sheet.baudTaken : sheet.baudAsked;
    const auto rate = static_cast<uint64_t>(std::llround(std::clamp(known.value_or(kAny), 1.0, 1e9)));
    Tell(capture, (known ? "the line has " : "the line's rate is not known and taken for ") +
                      FormatCount(rate) + " baud: \"sigrok-cli -i " + options.output +
                      " -P uart:rx=SWO:baudrate=" + std::to_string(rate) + ",arm_itm\"");
    return rate;
}

void Exporting::WriteWindow(const Capture& capture, TextOutput& output,
                            Swo::CaptureAnalysis& analysis) const {
    constexpr uint64_t kMost = Exports::SigrokWriter::kMostBytes;
    const uint64_t from = request.filter.from ? *request.filter.from->offset : 0;
    const uint64_t to = request.filter.to ? *request.filter.to->offset : from + kMost;
    Exports::SigrokWriter writer(output, LineRate(capture));
    uint64_t done = 0;
    capture.Read([&](std::span<const uint8_t> bytes) {
        analysis.Feed(bytes);
        const uint64_t begin = std::clamp(from, done, done + bytes.size()) - done;
        const uint64_t end = std::clamp(to, done, done + bytes.size()) - done;
        if (begin < end) writer.Write(bytes.subspan(begin, end - begin));
        done += bytes.size();
    });
    writer.Finish();
    if (from >= done && done > 0) TellNothingBetween(capture, done);
    if (!request.filter.to && done > to) {
        Tell(capture, "of " + FormatCount(done) + " bytes those from #" + std::to_string(from) + " to #" +
                          std::to_string(to) + " are written; --from and --to give others");
    }
}

int Exporting::WriteSigrok() {
    constexpr uint64_t kMost = Exports::SigrokWriter::kMostBytes;
    const auto& [from, to] = std::pair(request.filter.from, request.filter.to);
    if (request.filter.NeedsTime()) {
        throw UsageError("sigrok takes offsets such as #12345 for --from and --to, not times");
    }
    const uint64_t begin = from ? *from->offset : 0;
    if (to && *to->offset - begin > kMost) {
        throw UsageError("sigrok takes windows of at most " + FormatCount(kMost) + " bytes: --to at most #" +
                         std::to_string(begin + kMost));
    }
    TextOutput output(options.output, options.force);
    int status = kDone;
    bool hasOne = false;
    ForEachCapture(options.capture, [&](Capture& capture) {
        RefuseSecond(options.capture, std::exchange(hasOne, true), "a sigrok file holds");
        Swo::CaptureAnalysis analysis(capture.options);
        WriteWindow(capture, output, analysis);
        analysis.Finish();
        status = WorseStatus(status, TellLosses(capture, analysis, options.capture.failOn));
    });
    return Finish(output, status);
}

constexpr struct {
    const char* name;
    int (Exporting::*write)();
} kFormats[] = {
    {"chrome", &Exporting::WriteTimeline<Exports::ChromeWriter>},
    {"perfetto", &Exporting::WriteTimeline<Exports::PerfettoWriter>},
    {"ctf", &Exporting::WriteCtf},
    {"vcd", &Exporting::WriteVcd},
    {"sigrok", &Exporting::WriteSigrok},
    {"csv", &Exporting::WritePackets<Exports::CsvWriter>},
    {"jsonl", &Exporting::WritePackets<Exports::JsonLinesWriter>},
    {"folded", &Exporting::WritePackets<Exports::FoldedWriter>},
    {"text", &Exporting::WritePackets<Exports::TextWriter>},
};

}  // namespace

std::vector<std::string> ExportFormats() {
    std::vector<std::string> names;
    for (const auto& format : kFormats) names.emplace_back(format.name);
    return names;
}

int Export(const ExportOptions& options) {
    Exporting exporting(options);
    for (const auto& format : kFormats) {
        if (format.name == options.format) return (exporting.*format.write)();
    }
    throw UsageError("--format \"" + options.format + "\" is not known");
}

}  // namespace Korr::Plim::Trace::Tracehost
