// Any text as a recording sheet: every field within its bounds, or left out and told; what was understood,
// written anew, is understood in the same way.
#include "tracehost/recording_sheet.h"
#include "fuzz/targets.h"
#include "trace/arrival_gaps.h"

namespace fuzz {
namespace {

using namespace Korr::Plim::Trace;
using Tracehost::RecordingSheet;

void CheckText(const std::string& text) {
    Require(text.size() <= Tracehost::kLongestSheetText, "length of a text");
    for (const char c : text) Require(c < 0 || (c >= ' ' && c != 0x7F), "control character");
}

void CheckFields(const RecordingSheet& sheet) {
    for (const auto& text : {sheet.host, sheet.plugin, sheet.port, sheet.probe, sheet.cpu, sheet.started,
                             sheet.clockFrom, sheet.stopReason, sheet.countersNote}) {
        CheckText(text);
    }
    for (const auto& number : {sheet.baudAsked, sheet.baudTaken, sheet.traceClock, sheet.seconds}) {
        Require(!number || (*number >= 0 && *number <= 1e15), "number");
    }
    Require(sheet.prescaler.value_or(0) <= 8191, "prescaler");
    const uint32_t prescale = sheet.timestampPrescale.value_or(1);
    Require(prescale == 1 || prescale == 4 || prescale == 16 || prescale == 64, "timestamp prescale");
    Require(sheet.rates.size() <= Tracehost::kMostRateRows, "rates");
}

void CheckArrivals(const RecordingSheet& sheet) {
    Require(sheet.arrivals.size() <= Tracehost::kMostArrivalPoints, "arrivals");
    std::vector<Swo::Arrival> arrivals;
    for (const Tracehost::ArrivalPoint& point : sheet.arrivals) {
        if (!arrivals.empty()) {
            Require(point.milliseconds >= arrivals.back().milliseconds, "time of arrivals");
            Require(point.bytes >= arrivals.back().bytes, "bytes of arrivals");
        }
        arrivals.push_back({point.milliseconds, point.bytes});
    }
    for (const Swo::Silence& silence : Swo::FindSilences(arrivals)) {
        Require(silence.milliseconds >= Swo::kShortestSilence, "a silence");
        Require(silence.offset <= arrivals.back().bytes, "place of a silence");
    }
}

}  // namespace

void FuzzRecordingSheet(std::string_view input) {
    const Tracehost::SheetReading reading = Tracehost::ParseSheet(input);
    CheckText(reading.problem.substr(0, reading.problem.find('"')));
    CheckFields(reading.sheet);
    CheckArrivals(reading.sheet);
    const std::string text = Tracehost::FormatSheet(reading.sheet);
    Require(text.size() <= Tracehost::kLongestSheet, "length of a sheet");
    const Tracehost::SheetReading again = Tracehost::ParseSheet(text);
    Require(again.problem.empty(), "problem of a sheet that was written: " + again.problem);
    Require(again.sheet == reading.sheet, "the same sheet again");
}

}  // namespace fuzz
