#include "tracehost/live_analysis.h"

#include <algorithm>
#include <ctime>

#include "tracehost/diagnosis_text.h"
#include "tracehost/exit_status.h"
#include "tracehost/loss_text.h"
#include "tracehost/port_list.h"
#include "version/version.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr auto kFramingPatience = std::chrono::seconds(1);
constexpr auto kCounterPause = std::chrono::milliseconds(100);
constexpr double kTold = 0.95;  // validity below which the verdict is shown

std::string UtcNow() {
    const std::time_t now = std::time(nullptr);
    char text[32] = "";
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&now));
    return text;
}

std::string ReasonName(EndReason reason) {
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

std::string StopReason(const RecordingResult& result) {
    const RecordedPart& part = result.parts.back();
    return ReasonName(result.reason) + (part.fault.empty() ? part.fault : ": " + part.fault);
}

void AddTotals(Swo::LedgerTotals& sum, const Swo::LedgerTotals& part) {
    for (std::size_t i = 0; i < sum.places.size(); ++i) sum.places[i] += part.places[i];
    sum.lostInTarget += part.lostInTarget;
    sum.lostOnTheWay += part.lostOnTheWay;
    sum.hints += part.hints;
    sum.damagedBytes += part.damagedBytes;
    sum.suspectPackets += part.suspectPackets;
    sum.salvagedBytes += part.salvagedBytes;
    sum.missing += part.missing;
}

}  // namespace

LiveAnalysis::LiveAnalysis(const RecordRequest& wanted, std::FILE* text)
    : request(wanted), asked(AskedLineOf(wanted)), print(text) {
    BeginPart();
}

void LiveAnalysis::BeginPart() {
    Swo::AnalysisOptions options;
    options.prescale = asked.timestampPrescale.value_or(1);
    options.counterPort = request.counterPort;
    if (request.print) {
        options.text = this;
        options.textPorts = *request.print;
    }
    analysis = std::make_unique<Swo::CaptureAnalysis>(options);
    begun = lookAt = Clock::now();
    started = UtcNow();
    decided = false;
    arrivals = ArrivalLog();
    counters = CounterLog();
    countersNote.clear();
    baud.reset();
}

void LiveAnalysis::Take(std::span<const uint8_t> bytes) {
    const auto age = Clock::now() - begun;
    analysis->Feed(bytes.first(std::min(bytes.size(), BytesToSave())));
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(age).count();
    arrivals.Add({static_cast<uint64_t>(milliseconds), analysis->Bytes()});
    if (!decided && age > kFramingPatience) {
        decided = true;
        analysis->Decide();
    }
    PrintText();
}

/// How many of the bytes that come are still saved: more are captured than --bytes wants.
std::size_t LiveAnalysis::BytesToSave() const {
    if (!request.bytes) return SIZE_MAX;
    const uint64_t had = saved + analysis->Bytes();
    return static_cast<std::size_t>(*request.bytes - std::min(*request.bytes, had));
}

void LiveAnalysis::Write(uint8_t, const uint8_t* bytes, std::size_t count) {
    pending.append(reinterpret_cast<const char*>(bytes), count);
}

/// What the ports have said since the last time, at once.
void LiveAnalysis::PrintText() {
    if (pending.empty()) return;
    std::fwrite(pending.data(), 1, pending.size(), print);
    std::fflush(print);
    pending.clear();
}

void LiveAnalysis::WatchPort(std::optional<uint32_t> number) {
    port = number;
    if (!port || Clock::now() < lookAt) return;
    lookAt = Clock::now() + kCounterPause;
    LookAtCounters();
}

void LiveAnalysis::LookAtCounters() {
    const PortGlance glance = LookAtPort(*port);
    if (glance.baud) {
        baud = glance.baud;
        countersNote = glance.note;
    }
    if (glance.counters) counters.Add(*glance.counters, analysis->Bytes());
}

std::string LiveAnalysis::Line() const {
    Swo::LedgerTotals sum = totals;
    AddTotals(sum, analysis->Losses().Totals());
    for (const CounterGrowth& growth : counters.Growth()) sum.lostOnTheWay += SumOf(growth.by);
    return LiveLosses(sum);
}

RecordingSheet LiveAnalysis::EndPart(const RecordingResult& result) {
    const RecordedPart& part = result.parts.back();
    analysis->Finish();
    PrintText();
    Swo::SignalFeatures measured = analysis->Features();
    Capture known{};
    known.sheet = Sheet(result);
    if (!part.fault.empty()) {
        const auto kind = part.portFault ? Swo::LossKind::PortLost : Swo::LossKind::ReaderStopped;
        known.sheet.ledger[std::string(Swo::LossKindName(kind))] = 1;
    }
    AddHostKnowledge(known, *analysis, measured);
    RecordingSheet sheet = Sheet(result);
    const uint64_t bytes = analysis->Bytes();
    if (result.parts.size() == 1 || bytes > told) {
        told = bytes;
        features = measured;
        diagnosis = Swo::Diagnose(features);
    }
    AddTotals(totals, analysis->Losses().Totals());
    saved = result.bytes;
    BeginPart();
    return sheet;
}

void LiveAnalysis::Finish(std::FILE* output, Conclusion& conclusion) const {
    const bool usable = IsUsable(features, diagnosis.verdict);
    if (output != nullptr) PrintVerdict(output);
    const int status = StatusOf(totals, usable, request.failOn);
    if (status == kTraceLost) conclusion.Add(status, "trace was lost: " + SummariseLosses(totals));
    if (status != kNothingUsable) return;
    conclusion.Add(status, "nothing usable came: " + VerdictLine(features, diagnosis));
}

void LiveAnalysis::PrintVerdict(std::FILE* output) const {
    const bool usable = IsUsable(features, diagnosis.verdict);
    if (usable) std::fprintf(output, "  lost          %s\n", SummariseLosses(totals).c_str());
    if (usable && features.validity >= kTold) return;
    std::fprintf(output, "  verdict       %s\n", VerdictLine(features, diagnosis).c_str());
    std::fprintf(output, "                \"tracehost diagnose\" and \"tracehost report\" tell more.\n");
}

RecordingSheet LiveAnalysis::Sheet(const RecordingResult& result) const {
    const RecordedPart& part = result.parts.back();
    RecordingSheet sheet;
    sheet.host = std::string("tracehost ") + VersionText();
    sheet.plugin = result.plugin;
    if (port) sheet.port = "COM" + std::to_string(*port);
    sheet.probe = request.demo ? "simulated" : port ? PortDeviceName(*port) : std::string();
    sheet.cpu = request.cpu;
    sheet.started = started;
    sheet.clockFrom = asked.clock ? "given" : "device";
    sheet.stopReason = StopReason(result);
    sheet.rates = result.rates;
    if (result.bitRate > 0) sheet.baudAsked = result.bitRate;
    if (baud) sheet.baudTaken = *baud;
    if (result.traceClock > 0) sheet.traceClock = result.traceClock;
    if (result.bitRate > 0) sheet.prescaler = result.Prescaler();
    sheet.timestampPrescale = asked.timestampPrescale;
    sheet.seconds = part.end - part.begin;
    sheet.bytes = part.bytes;
    sheet.readError = part.readError;
    sheet.arrivals = arrivals.Points();
    sheet.countersBefore = counters.First();
    sheet.countersAfter = counters.Last();
    sheet.counterGrowth = counters.Growth();
    sheet.countersNote = countersNote;
    const Swo::LedgerTotals& found = analysis->Losses().Totals();
    for (int i = 0; i < Swo::kLossKinds; ++i) {
        const auto kind = static_cast<Swo::LossKind>(i);
        if (found.Of(kind) > 0) sheet.ledger[std::string(Swo::LossKindName(kind))] = found.Of(kind);
    }
    return sheet;
}

}  // namespace Korr::Plim::Trace::Tracehost
