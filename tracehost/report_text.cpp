#include "tracehost/report_text.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "source_utilities/visible_text.h"
#include "tracehost/diagnosis_text.h"
#include "tracehost/human_numbers.h"
#include "tracehost/loss_text.h"
#include "tracehost/place_times.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

using Swo::PacketKind;

constexpr std::size_t kPortsShown = 8;

std::string Row(const std::string& name, const std::string& text) {
    std::string row = "  " + name;
    row.resize(std::max<std::size_t>(row.size() + 1, 15), ' ');
    return row + text + "\n";
}

/// ", ITM, no TPIU frames", or the streams in the frames and their shares.
std::string Framing(const Swo::CaptureAnalysis& analysis) {
    const auto* const streams = analysis.BytesOfStreams();
    if (streams == nullptr) return ", ITM, no TPIU frames";
    uint64_t all = 0;
    for (const uint64_t bytes : *streams) all += bytes;
    std::string text =
        ", ITM as stream " + std::to_string(analysis.FramingFound().stream) + " of TPIU frames (";
    std::string parts;
    for (std::size_t id = 0; id < streams->size(); ++id) {
        if ((*streams)[id] == 0) continue;
        char part[64];
        std::snprintf(part, sizeof part, "%s %.1f %%",
                      id == 0 ? "padding" : ("stream " + std::to_string(id)).c_str(),
                      100.0 * static_cast<double>((*streams)[id]) / static_cast<double>(all));
        parts += (parts.empty() ? "" : ", ") + std::string(part);
    }
    return text + parts + ")";
}

std::string Head(const CaptureReport& report) {
    const auto& counts = report.analysis.Counts();
    std::string text = KORR_PLIM::Visible(report.capture.name).Text() + std::string(": ") +
                       CountOf(report.analysis.Bytes(), "byte");
    if (report.analysis.Bytes() == 0) return text + "\n";
    const uint64_t syncs = counts.Of(PacketKind::Sync);
    text += Framing(report.analysis) + ", " + (syncs == 0 ? "no sync marks" : CountOf(syncs, "sync mark"));
    if (counts.firstSync) text += ", first at " + FormatCount(*counts.firstSync);
    return text + "\n";
}

std::string Recorded(const RecordingSheet& sheet) {
    std::string text = sheet.started;
    const auto add = [&text](const std::string& part) { text += (text.empty() ? "" : ", ") + part; };
    char number[64];
    if (sheet.seconds) {
        std::snprintf(number, sizeof number, "%.1f s", *sheet.seconds);
        add(number);
    }
    if (!sheet.port.empty()) add(sheet.port);
    if (sheet.baudAsked) {
        std::snprintf(number, sizeof number, "%.0f baud", *sheet.baudAsked);
        add(number);
    }
    if (!sheet.stopReason.empty()) add("ended by " + sheet.stopReason);
    return text;
}

bool HasTimestamps(const CaptureReport& report) {
    return report.analysis.Counts().Of(PacketKind::LocalTime) > 0;
}

PlaceTimes PlaceTimesOf(const CaptureReport& report) {
    return PlaceTimes(report.capture.sheet, report.capture.baud);
}

std::string Time(const CaptureReport& report) {
    const auto& counts = report.analysis.Counts();
    if (!HasTimestamps(report)) return "no timestamps: " + PlaceTimesOf(report).Explained();
    const auto& scale = report.capture.scale;
    const uint64_t ticks = counts.lastTicks;
    std::string text = CountOf(ticks, "tick");
    if (scale.clockHz > 0) {
        text = FormatNanoseconds(scale.Nanoseconds(ticks)) + " (" + text + " of " +
               std::to_string(scale.prescale) + (scale.prescale == 1 ? " cycle" : " cycles") + " at " +
               FormatCount(scale.clockHz) + " Hz)";
    } else {
        text += ", no trace clock known (--clock)";
    }
    std::string qualities;
    for (std::size_t i = 0; i < counts.qualities.size(); ++i) {
        if (counts.qualities[i] == 0) continue;
        qualities += (qualities.empty() ? "" : ", ") + FormatCount(counts.qualities[i]) + " " +
                     std::string(Swo::QualityName(static_cast<Swo::TimeQuality>(i)));
    }
    return text + "; packets: " + qualities;
}

std::string PortsOf(const Swo::CaptureCounts& counts) {
    std::vector<std::size_t> ports;
    for (std::size_t port = 0; port < counts.portBytes.size(); ++port) {
        if (counts.portPackets[port] > 0) ports.push_back(port);
    }
    std::stable_sort(ports.begin(), ports.end(),
                     [&](std::size_t a, std::size_t b) { return counts.portBytes[a] > counts.portBytes[b]; });
    std::string text;
    for (std::size_t i = 0; i < std::min(ports.size(), kPortsShown); ++i) {
        text += (i == 0 ? "" : ", ") + std::to_string(ports[i]) + ": " +
                FormatCount(counts.portBytes[ports[i]]) + " bytes";
    }
    if (ports.size() > kPortsShown) text += " and " + CountOf(ports.size() - kPortsShown, "more port");
    return text;
}

/// "15: 1,234 entries".
std::string ExceptionsOf(const Swo::CaptureCounts& counts) {
    std::vector<std::size_t> numbers;
    for (std::size_t number = 0; number < counts.exceptionsEntered.size(); ++number) {
        if (counts.exceptionsEntered[number] > 0) numbers.push_back(number);
    }
    std::stable_sort(numbers.begin(), numbers.end(), [&](std::size_t a, std::size_t b) {
        return counts.exceptionsEntered[a] > counts.exceptionsEntered[b];
    });
    std::string text = CountOf(counts.Of(PacketKind::Exception), "packet");
    for (std::size_t i = 0; i < std::min(numbers.size(), kPortsShown); ++i) {
        text += ", " + std::to_string(numbers[i]) + " entered " +
                CountOf(counts.exceptionsEntered[numbers[i]], "time");
    }
    return text;
}

std::string OtherKinds(const Swo::CaptureCounts& counts) {
    std::string text;
    for (int i = 0; i < Swo::kPacketKinds; ++i) {
        const auto kind = static_cast<PacketKind>(i);
        if (kind == PacketKind::Stimulus || kind == PacketKind::Exception || kind == PacketKind::Sync) {
            continue;
        }
        if (Swo::IsDamage(kind) || counts.Of(kind) == 0) continue;
        text += (text.empty() ? "" : ", ") + FormatCount(counts.Of(kind)) + " " +
                std::string(Swo::KindName(kind));
    }
    return text;
}

std::string Contents(const CaptureReport& report) {
    const auto& counts = report.analysis.Counts();
    std::string text;
    if (report.capture.hasSheet) text += Row("recorded", Recorded(report.capture.sheet));
    if (report.analysis.Bytes() == 0) return text;
    text += Row("time", Time(report));
    if (counts.Of(PacketKind::Stimulus) > 0) text += Row("ports", PortsOf(counts));
    if (counts.Of(PacketKind::Exception) > 0) text += Row("exceptions", ExceptionsOf(counts));
    const std::string others = OtherKinds(counts);
    if (!others.empty()) text += Row("other", others);
    return text;
}

/// What the table tells of when an entry was: trace time, and in captures without timestamps what else is
/// known.
class TimeColumn {
  public:
    explicit TimeColumn(const CaptureReport& told)
        : scale(told.capture.scale), traced(HasTimestamps(told)), places(PlaceTimesOf(told)) {}

    std::string Title() const {
        if (traced) return scale.clockHz > 0 ? "time" : "ticks";
        return places.Title();
    }
    std::string Of(const Swo::LedgerEntry& entry) const {
        if (!traced && places.Known() != PlaceTimes::Kind::None) {
            return FormatNanoseconds(places.Nanoseconds(entry.offset));
        }
        if (entry.timeQuality == Swo::TimeQuality::None) return "";
        const std::string time =
            scale.clockHz > 0 ? FormatNanoseconds(scale.Nanoseconds(entry.ticks)) : FormatCount(entry.ticks);
        return entry.timeQuality == Swo::TimeQuality::Late ? time + "+" : time;
    }

  private:
    const Exports::TimeScale& scale;
    bool traced;
    PlaceTimes places;
};

std::string EntryLine(const Swo::LedgerEntry& entry, const TimeColumn& times) {
    char line[160];
    std::snprintf(line, sizeof line, "%15s %9s %17s  ", FormatCount(entry.offset).c_str(),
                  FormatCount(entry.length).c_str(), times.Of(entry).c_str());
    return line + DescribeLoss(entry) + "\n";
}

std::string Losses(const CaptureReport& report) {
    const Swo::Ledger& ledger = report.analysis.Losses();
    const auto& entries = ledger.Entries();
    std::string text = "LOST  " + SummariseLosses(ledger.Totals()) + "\n";
    if (entries.empty()) return text;
    const TimeColumn times(report);
    char line[160];
    std::snprintf(line, sizeof line, "%15s %9s %17s  %s\n", "offset", "bytes", times.Title().c_str(), "what");
    text += line;
    for (std::size_t i = 0; i < std::min(entries.size(), kEntriesShown); ++i) {
        text += EntryLine(entries[i], times);
    }
    const uint64_t listed = entries.size() - std::min(entries.size(), kEntriesShown);
    if (listed + ledger.UnlistedPlaces() > 0) {
        text += "                ... and " + FormatCount(listed + ledger.UnlistedPlaces()) +
                " more (--json FILE has " +
                (ledger.UnlistedPlaces() > 0 ? "the first " + FormatCount(entries.size())
                                             : std::string("all of them")) +
                ")\n";
    }
    return text;
}

std::string Forecast(const Swo::HoleForecast& forecast, const std::optional<uint8_t>& counterPort) {
    if (forecast.holes == 0) return "";
    char text[200];
    const double loss = static_cast<double>(forecast.seenAsLoss) / forecast.holes;
    std::snprintf(
        text, sizeof text,
        "A hole would have been noticed with probability %.2f in this recording (%.2f as damage, %.2f as a "
        "hint)%s.\n",
        forecast.Share(), loss, forecast.Share() - loss,
        counterPort ? "" : "; \"tracehost help loss\" says what raises it");
    return Wrap(text, 100);
}

}  // namespace

std::string Wrap(const std::string& text, std::size_t width) {
    std::string lines;
    std::size_t begin = 0;
    while (text.size() - begin > width) {
        std::size_t end = text.rfind(' ', begin + width);
        if (end == std::string::npos || end <= begin) break;
        lines.append(text, begin, end - begin).append("\n");
        begin = end + 1;
    }
    return lines.append(text, begin);
}

std::string FormatReport(const CaptureReport& report) {
    std::string text = Head(report) + Contents(report) + Losses(report);
    if (report.analysis.Losses().Totals().Of(Swo::LossKind::ItmOverflow) > 0 ||
        report.analysis.Counts().qualities[static_cast<std::size_t>(Swo::TimeQuality::Late)] > 0) {
        if (report.analysis.Counts().Of(PacketKind::GlobalTimeLow) == 0 &&
            report.analysis.Counts().Of(PacketKind::LocalTime) > 0) {
            text +=
                "Times marked + are late by an unknown amount: packets before them were lost, and there are "
                "no\n"
                "global timestamps.\n";
        }
    }
    text += Forecast(report.forecast, report.capture.options.counterPort);
    text += "VERDICT  " + VerdictLine(report.features, report.diagnosis) + "\n";
    if (report.diagnosis.verdict == Swo::SignalVerdict::Good) return text;
    for (const std::string& line : Advice(report.features, report.diagnosis, report.capture.sheet)) {
        text += "  " + line + "\n";
    }
    return text;
}

std::string ReportAsJson(const CaptureReport& report) {
    std::string text;
    const Swo::Ledger& ledger = report.analysis.Losses();
    const Swo::LedgerTotals& totals = ledger.Totals();
    for (const auto& entry : ledger.Entries()) text += LossAsJson(entry, report.capture.scale);
    nlohmann::ordered_json sum;
    sum["name"] = report.capture.name;
    sum["bytes"] = report.analysis.Bytes();
    sum["verdict"] = Swo::SignalVerdictName(report.diagnosis.verdict);
    sum["confidence"] = Swo::ConfidenceName(report.diagnosis.confidence);
    sum["validity"] = report.features.validity;
    sum["status"] = report.status;
    sum["lost_between_pin_and_file"] = totals.lostOnTheWay;
    sum["lost_in_target"] = totals.lostInTarget;
    sum["hints"] = totals.hints;
    sum["damaged_bytes"] = totals.damagedBytes;
    sum["suspect_packets"] = totals.suspectPackets;
    sum["salvaged_bytes"] = totals.salvagedBytes;
    sum["missing"] = totals.missing;
    sum["unlisted"] = ledger.UnlistedPlaces();
    for (const auto& block : ledger.Unlisted()) {
        sum["unlisted_blocks"].push_back({block.offset, block.Places()});
    }
    auto& places = sum["places"] = nlohmann::ordered_json::object();
    for (int i = 0; i < Swo::kLossKinds; ++i) {
        const auto kind = static_cast<Swo::LossKind>(i);
        if (totals.Of(kind) > 0) places[std::string(Swo::LossKindName(kind))] = totals.Of(kind);
    }
    auto& packets = sum["packets"] = nlohmann::ordered_json::object();
    for (int i = 0; i < Swo::kPacketKinds; ++i) {
        const auto kind = static_cast<PacketKind>(i);
        const uint64_t count = report.analysis.Counts().Of(kind);
        if (count > 0) packets[std::string(Swo::KindName(kind))] = count;
    }
    sum["forecast"] = {{"holes", report.forecast.holes},
                       {"seen_as_loss", report.forecast.seenAsLoss},
                       {"seen_as_hint", report.forecast.seenAsHint}};
    return text + nlohmann::ordered_json{{"totals", sum}}.dump() + "\n";
}

}  // namespace Korr::Plim::Trace::Tracehost
