#include "tracehost/captures.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "source_utilities/visible_text.h"
#include "trace/arrival_gaps.h"
#include "tracehost/errors.h"
#include "tracehost/number_option.h"
#include "tracehost/sheet_file.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr const char* kStandardInput = "-";
constexpr uint32_t kOperationAborted = 995;  // Windows ends reads with it when the line has errors
constexpr uint64_t kMostPadding = 7;         // bytes that a save adds

constexpr NumberOption kCaptureClock{"--clock", Measure::Hertz, 1, 4e9};
constexpr NumberOption kSectionOption{"--section", Measure::Count, 1, kMostTdfSections, true};
constexpr NumberOption kCounterPortOption{"--counter-port", Measure::Count, 0, 255, true};

constexpr NumberOption kLineRate{"--baud", Measure::Count, 1, 1e9};

void Warn(const std::string& text) {
    std::fprintf(stderr, "tracehost: %s\n", KORR_PLIM::Visible(text).Text());
}

std::unique_ptr<ByteSource> Open(const std::string& file) {
    if (file == kStandardInput) return std::make_unique<StandardInputSource>();
    return std::make_unique<FileSource>(file);
}

/// The capture's sheet, and what follows from it.
void TakeSheet(const CaptureRequest& request, Capture& capture) {
    if (request.file == kStandardInput) return;
    const auto reading = ReadSheetOf(request.file, capture.input->Section());
    if (!reading) return;
    if (!reading->problem.empty()) Warn("the recording sheet of " + capture.name + ": " + reading->problem);
    capture.sheet = reading->sheet;
    capture.hasSheet = true;
    const auto& told = reading->sheet.bytes;
    const bool padded =
        told && capture.length && *capture.length >= *told && *capture.length - *told <= kMostPadding;
    if (padded) capture.length = *told;
}

void Settle(const CaptureRequest& request, Capture& capture) {
    const std::string name = request.file == kStandardInput ? "standard input" : request.file;
    const uint32_t section = capture.input->Section();
    capture.name = section == 0 ? name : name + ", section " + std::to_string(section);
    capture.length = capture.input->Length();
    TakeSheet(request, capture);
    const double clock = request.clock.value_or(capture.sheet.traceClock.value_or(0));
    capture.scale.clockHz = static_cast<uint64_t>(std::llround(std::clamp(clock, 0.0, 4e9)));
    capture.scale.prescale = request.timestampPrescale.value_or(capture.sheet.timestampPrescale.value_or(1));
    capture.baud = request.baud;
    capture.options.prescale = capture.scale.prescale;
    capture.options.counterPort = request.counterPort;
    capture.options.waitForSync = request.waitForSync;
    capture.options.framing = request.framing;
}

/// "auto", "itm", "tpiu" or "tpiu:ID".
Swo::FramingOptions ParseFraming(const std::string& text) {
    if (text == "auto") return {};
    if (text == "itm") return {Swo::FramingKind::Itm, std::nullopt};
    if (text == "tpiu") return {Swo::FramingKind::Tpiu, std::nullopt};
    constexpr NumberOption kStream{"--framing tpiu:ID", Measure::Count, 1, 0x6F, true};
    if (text.starts_with("tpiu:")) {
        return {Swo::FramingKind::Tpiu, static_cast<uint8_t>(ParseNumber(kStream, text.substr(5)))};
    }
    throw UsageError("--framing \"" + text + "\": give auto, itm, tpiu or tpiu:ID");
}

void RefuseMissing(const CaptureRequest& request, const CaptureInput& input, uint32_t captures) {
    if (captures > 0 || !input.Damage().empty()) return;
    if (!request.section) throw UsageError("\"" + request.file + "\" holds no section \"BinTraceData\"");
    throw UsageError("\"" + request.file + "\" has no section \"BinTraceData\" number " +
                     std::to_string(*request.section));
}

constexpr struct {
    Swo::LossKind kind;
    uint64_t PortCounters::*field;
} kCountedLosses[] = {{Swo::LossKind::DriverOverrun, &PortCounters::overrun},
                      {Swo::LossKind::DriverBufferOverrun, &PortCounters::bufferOverrun},
                      {Swo::LossKind::Framing, &PortCounters::framing},
                      {Swo::LossKind::Parity, &PortCounters::parity},
                      {Swo::LossKind::Break, &PortCounters::breaks}};

/// Adds what the port's driver has counted, each growth where it was noticed and the rest at the end.
void AddCounted(PortCounters grown, const std::vector<CounterGrowth>& places,
                Swo::CaptureAnalysis& analysis) {
    const uint64_t end = analysis.Bytes();
    for (const auto& counted : kCountedLosses) {
        uint64_t& left = grown.*counted.field;
        for (const CounterGrowth& place : places) {
            const uint64_t here = std::min(place.by.*counted.field, left);
            analysis.Losses().OnHost(counted.kind, here, std::min(place.bytes, end));
            left -= here;
        }
        analysis.Losses().OnHost(counted.kind, left, end);
    }
}

}  // namespace

void AddCounterPort(CLI::App& command, std::optional<uint8_t>& port) {
    AddNumber(command, kCounterPortOption, "Stimulus port that the firmware counts up: every hole shows",
              [&port](std::optional<double> number) { port = static_cast<uint8_t>(*number); });
}

void AddLineRate(CLI::App& command, CaptureRequest& request) {
    AddNumber(command, kLineRate,
              "Bits a second on the line, for places without timestamps (default: from the sheet)",
              [&request](std::optional<double> number) { request.baud = number; });
}

void AddFailOn(CLI::App& command, FailOn& failOn) {
    AddChoice(
        command, "--fail-on",
        "Which loss gives exit status 3: between pin and file, also in the target, none (then no 4, either)",
        {"line", "any", "never"}, [&failOn](const std::string& word) {
            failOn = word == "any" ? FailOn::Any : word == "never" ? FailOn::Never : FailOn::Line;
        });
}

void AddCaptureOptions(CLI::App& command, CaptureRequest& request) {
    command.add_option("FILE", request.file, "Raw or TDF file; - is standard input")
        ->type_name("")
        ->required();
    AddSection(command, request);
    AddNumber(command, kCaptureClock, "Trace clock (default: from the recording's sheet)",
              [&request](std::optional<double> number) { request.clock = number; });
    AddChoice(command, "--timestamp-prescale", "ITM timestamp prescale (default: from the sheet, else 1)",
              {"1", "4", "16", "64"}, [&request](const std::string& word) {
                  request.timestampPrescale = static_cast<uint32_t>(std::stoul(word));
              });
    AddDecodingOptions(command, request);
}

CLI::Option* AddSection(CLI::App& command, CaptureRequest& request) {
    return AddNumber(
        command, kSectionOption, "Section \"BinTraceData\" of a TDF file (default: all)",
        [&request](std::optional<double> number) { request.section = static_cast<uint32_t>(*number); });
}

void AddDecodingOptions(CLI::App& command, CaptureRequest& request) {
    command
        .add_option_function<std::string>(
            "--framing", [&request](const std::string& text) { request.framing = ParseFraming(text); },
            "auto, itm, tpiu or tpiu:ID: frames of the TPIU, and the ITM's stream in them (default: auto)")
        ->type_name("FRAMING");
    AddCounterPort(command, request.counterPort);
    command.add_flag("--wait-for-sync", request.waitForSync,
                     "Decode from the first synchronisation packet on");
    AddFailOn(command, request.failOn);
}

uint64_t Capture::Read(const std::function<void(std::span<const uint8_t>)>& each) const {
    std::vector<uint8_t> piece(kPiece);
    uint64_t done = 0;
    while (!length || done < *length) {
        const uint64_t most = length ? std::min<uint64_t>(kPiece, *length - done) : kPiece;
        const std::size_t count = input->Read(std::span(piece).first(static_cast<std::size_t>(most)));
        if (count == 0) break;
        done += count;
        each(std::span(piece).first(count));
    }
    return done;
}

void ForEachCapture(const CaptureRequest& request, const std::function<void(Capture&)>& work) {
    CaptureInput input(Open(request.file), request.section);
    uint32_t captures = 0;
    uint64_t base = 0;
    while (input.Next()) {
        if (request.section && !input.IsTdf()) {
            throw UsageError("--section: \"" + request.file + "\" is no TDF file, it has no sections");
        }
        ++captures;
        Capture capture;
        capture.input = &input;
        capture.base = base;
        Settle(request, capture);
        work(capture);
        base += capture.length.value_or(0);
    }
    RefuseMissing(request, input, captures);
    if (input.Damage().empty()) return;
    throw HostError("\"" + request.file + "\" is damaged " + input.Damage());
}

void AddHostKnowledge(const Capture& capture, Swo::CaptureAnalysis& analysis, Swo::SignalFeatures& features) {
    const RecordingSheet& sheet = capture.sheet;
    for (const Swo::LossKind kind : {Swo::LossKind::PortLost, Swo::LossKind::ReaderStopped}) {
        const auto told = sheet.ledger.find(std::string(Swo::LossKindName(kind)));
        if (told != sheet.ledger.end()) analysis.Losses().OnHost(kind, told->second, analysis.Bytes());
    }
    if (sheet.countersBefore && sheet.countersAfter) {
        const PortCounters grown = GrownBy(*sheet.countersBefore, *sheet.countersAfter);
        AddCounted(grown, sheet.counterGrowth, analysis);
        features.lineErrors = grown.framing + grown.parity + grown.breaks;
    }
    std::vector<Swo::Arrival> arrivals;
    for (const ArrivalPoint& point : sheet.arrivals) arrivals.push_back({point.milliseconds, point.bytes});
    analysis.Losses().OnSilences(Swo::FindSilences(arrivals));
    features.readErrorLogged = sheet.readError == kOperationAborted;
}

int StatusOf(const Swo::LedgerTotals& totals, bool usable, FailOn failOn) {
    if (failOn == FailOn::Never) return kDone;
    if (!usable) return kNothingUsable;
    const bool lost = totals.lostOnTheWay > 0 || (failOn == FailOn::Any && totals.lostInTarget > 0);
    return lost ? kTraceLost : kDone;
}

int WorseStatus(int one, int other) { return std::max(one, other); }

}  // namespace Korr::Plim::Trace::Tracehost
