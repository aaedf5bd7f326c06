#include "tracehost/live_analysis.h"

#include <ctime>
#include <filesystem>

#include "tracehost/diagnosis_text.h"
#include "tracehost/errors.h"
#include "tracehost/loss_text.h"
#include "tracehost/sheet_file.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr auto kFramingPatience = std::chrono::seconds(1);
constexpr double kTold = 0.95;  // validity below which the verdict is shown

std::string UtcNow() {
    const std::time_t now = std::time(nullptr);
    char text[32] = "";
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&now));
    return text;
}

const char* ReasonName(EndReason reason) {
    switch (reason) {
        case EndReason::Asked:
            return "the user";
        case EndReason::Time:
            return "time";
        case EndReason::Size:
            return "size";
        case EndReason::ReaderGone:
            return "the reader of the output";
        case EndReason::OutputFull:
            return "a full output";
        case EndReason::Fault:
            return "a fault";
    }
    return "";
}

}  // namespace

LiveAnalysis::LiveAnalysis(const RecordRequest& wanted, std::FILE* text)
    : request(wanted), print(text), started(UtcNow()) {
    Swo::AnalysisOptions options;
    options.prescale = request.timestampPrescale;
    options.counterPort = request.counterPort;
    if (request.print) {
        options.text = this;
        options.textPorts = *request.print;
    }
    analysis = std::make_unique<Swo::CaptureAnalysis>(options);
}

void LiveAnalysis::Take(std::span<const uint8_t> bytes) {
    const auto age = Clock::now() - begun;
    analysis->Feed(bytes);
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(age).count();
    arrivals.Add({static_cast<uint64_t>(milliseconds), analysis->Bytes()});
    if (!decided && age > kFramingPatience) {
        decided = true;
        analysis->Decide();
    }
    if (request.print) std::fflush(print);
    LookAtCounters();
}

void LiveAnalysis::Write(uint8_t, const uint8_t* bytes, std::size_t count) {
    std::fwrite(bytes, 1, count, print);
}

void LiveAnalysis::LookAtCounters() {
    if (!port) return;
    const PortGlance glance = LookAtPort(*port);
    if (glance.baud) {
        baud = glance.baud;
        countersNote = glance.note;
    }
    if (!glance.counters) return;
    if (!before) before = glance.counters;
    after = glance.counters;
}

std::string LiveAnalysis::Line() const { return LiveLosses(analysis->Losses().Totals()); }

int LiveAnalysis::Finish(const RecordingResult& result, std::FILE* output) {
    analysis->Finish();
    if (request.print) std::fflush(print);
    features = analysis->Features();
    Capture known{};
    known.sheet = Sheet(result);
    AddHostKnowledge(known, *analysis, features);
    diagnosis = Swo::Diagnose(features);
    const bool doubtful = result.bytes > 0 && diagnosis.confidence == Swo::Confidence::Low;
    const bool usable = IsUsable(features, diagnosis.verdict);
    if (output != nullptr) PrintVerdict(output);
    if (request.failOn == FailOn::Never || (!usable && doubtful)) return kDone;
    return StatusOf(analysis->Losses().Totals(), usable, request.failOn);
}

void LiveAnalysis::PrintVerdict(std::FILE* output) const {
    const bool usable = IsUsable(features, diagnosis.verdict);
    if (usable) {
        std::fprintf(output, "  lost          %s\n", SummariseLosses(analysis->Losses().Totals()).c_str());
    }
    if (usable && features.validity >= kTold) return;
    std::fprintf(output, "  verdict       %s\n", VerdictLine(features, diagnosis).c_str());
    std::fprintf(output, "                \"tracehost diagnose\" and \"tracehost report\" tell more.\n");
}

RecordingSheet LiveAnalysis::Sheet(const RecordingResult& result) const {
    RecordingSheet sheet;
    sheet.host = "tracehost";
    sheet.plugin = std::filesystem::path(request.plugin).filename().string();
    if (port) sheet.port = "COM" + std::to_string(*port);
    sheet.cpu = request.cpu;
    sheet.started = started;
    sheet.clockFrom = request.clock ? "given" : "device";
    sheet.stopReason = ReasonName(result.reason);
    if (result.bitRate > 0) sheet.baudAsked = result.bitRate;
    if (baud) sheet.baudTaken = *baud;
    if (result.traceClock > 0) sheet.traceClock = result.traceClock;
    if (result.bitRate > 0) sheet.prescaler = result.Prescaler();
    if (request.options.empty()) sheet.timestampPrescale = request.timestampPrescale;
    sheet.seconds = result.seconds;
    sheet.bytes = result.bytes;
    sheet.arrivals = arrivals.Points();
    sheet.countersBefore = before;
    sheet.countersAfter = after;
    sheet.countersNote = countersNote;
    const Swo::LedgerTotals& totals = analysis->Losses().Totals();
    for (int i = 0; i < Swo::kLossKinds; ++i) {
        const auto kind = static_cast<Swo::LossKind>(i);
        if (totals.Of(kind) > 0) sheet.ledger[std::string(Swo::LossKindName(kind))] = totals.Of(kind);
    }
    return sheet;
}

void WriteSheets(const RecordingSheet& sheet, const RecordingResult& result, bool raw) {
    // A TDF file's sheets belong to the sections before them: with several parts only the last one is there.
    const bool whole = result.parts.size() == 1;
    for (const RecordedPart& part : result.parts) {
        if (!raw && &part != &result.parts.back()) continue;
        RecordingSheet own = sheet;
        own.bytes = part.bytes;
        own.seconds = part.end - part.begin;
        if (!whole) own.arrivals.clear();
        WriteSheetOf(part.file, raw, own);
    }
}

}  // namespace Korr::Plim::Trace::Tracehost
