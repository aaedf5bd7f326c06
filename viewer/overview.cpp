#include "viewer/overview.h"

#include <algorithm>
#include <array>

#include "viewer/json_text.h"
#include "viewer/window_encoding.h"

namespace Korr::Plim::Trace::Viewer {

namespace {

std::string CounterLabel(uint16_t number) {
    static constexpr std::array<const char*, Swo::kFirstPmuCounter> kNames = {
        "CPI counter", "Exception counter", "Sleep counter", "LSU counter", "Fold counter", "Cycle counter"};
    if (number < kNames.size()) return kNames[number];
    return "PMU counter " + std::to_string(number - Swo::kFirstPmuCounter);
}

std::string KindOf(const Swo::Track& track, const Swo::TrackTypes& types) {
    switch (track.kind) {
        case Swo::TrackKind::Bandwidth:
            return "bandwidth";
        case Swo::TrackKind::Nesting:
            return "nesting";
        case Swo::TrackKind::Exception:
            return "exception";
        case Swo::TrackKind::Port:
            return types.IsText(track.number) ? "text" : "value";
        case Swo::TrackKind::Counter:
            return "counter";
        case Swo::TrackKind::Pc:
            return "pc";
        default:
            return "value";
    }
}

void AddMembers(Json& object, const Swo::Track& track, const Swo::TrackTypes& types) {
    switch (track.kind) {
        case Swo::TrackKind::Exception:
            object["number"] = track.number;
            return;
        case Swo::TrackKind::Port:
            object["port"] = track.number;
            if (!types.IsText(track.number)) object["type"] = Swo::PortTypeName(types.Of(track));
            return;
        case Swo::TrackKind::WatchRead:
        case Swo::TrackKind::WatchWrite:
            object["comparator"] = track.number;
            object["type"] = Swo::PortTypeName(types.Of(track));
            return;
        case Swo::TrackKind::WatchPc:
        case Swo::TrackKind::WatchAddress:
            object["comparator"] = track.number;
            object["type"] = "hex";
            return;
        default:
            return;
    }
}

Json TracksOf(const RecordingSettings& settings, const Swo::RecordingIndex& index) {
    const Swo::TrackTypes types = index.Summaries().Types();
    Json tracks = Json::array();
    for (size_t row = 0; row < Swo::kTracks; ++row) {
        const Swo::Track track = Swo::TrackAt(row);
        const bool bandwidth = track.kind == Swo::TrackKind::Bandwidth;
        const uint64_t total = index.PacketsOf(track);
        if (total == 0 && !bandwidth) continue;
        Json object = {{"id", IdOf(track)}, {"kind", KindOf(track, types)}};
        AddMembers(object, track, types);
        object["label"] = LabelOf(track, settings);
        object["total"] = total;
        tracks.push_back(std::move(object));
    }
    return tracks;
}

Json LostOf(const RecordingSettings& settings, const Swo::LedgerTotals& totals) {
    return {{"target", totals.lostInTarget},
            {"line", totals.lostOnTheWay},
            {"hints", totals.hints},
            {"text", settings.summarise ? settings.summarise(totals) : ""}};
}

Json VerdictOf(const RecordingSettings& settings, const Swo::SignalFeatures& features) {
    if (settings.judge) {
        const Verdict verdict = settings.judge(features);
        return {{"name", verdict.name}, {"text", verdict.text}};
    }
    return {{"name", Swo::SignalVerdictName(Swo::Diagnose(features).verdict)}, {"text", ""}};
}

}  // namespace

std::string LabelOf(const Swo::Track& track, const RecordingSettings& settings) {
    const std::string number = std::to_string(track.number);
    switch (track.kind) {
        case Swo::TrackKind::Bandwidth:
            return "Bandwidth";
        case Swo::TrackKind::Nesting:
            return "Exceptions";
        case Swo::TrackKind::Exception:
            return settings.symbols ? settings.symbols->ExceptionName(track.number)
                                    : Symbols::ArchitectureExceptionName(track.number);
        case Swo::TrackKind::Port: {
            const auto given = settings.ports.find(static_cast<uint8_t>(track.number));
            const bool named = given != settings.ports.end() && !given->second.name.empty();
            return named ? given->second.name : "Port " + number;
        }
        case Swo::TrackKind::WatchRead:
            return "Watch " + number + " read";
        case Swo::TrackKind::WatchWrite:
            return "Watch " + number + " written";
        case Swo::TrackKind::WatchPc:
            return "Watch " + number + " PC";
        case Swo::TrackKind::WatchAddress:
            return "Watch " + number + " address";
        case Swo::TrackKind::Counter:
            return CounterLabel(track.number);
        case Swo::TrackKind::Pc:
            break;
    }
    return "PC samples";
}

double EndOf(const Swo::RecordingIndex& index, const Swo::RecordingAxis& axis) {
    const uint64_t end = index.EndPosition();
    const double last = axis.At(end == 0 ? 0 : end - 1);
    return std::max({axis.At(end), last + 1, std::nextafter(last, INFINITY)});
}

std::string OverviewOf(const RecordingSettings& settings, const Swo::RecordingIndex& index,
                       const Swo::RecordingAxis& axis, const FeedState& state, bool complete,
                       std::optional<double> forecast) {
    const Swo::CaptureAnalysis& analysis = index.Analysis();
    const Swo::Framing& framing = analysis.FramingFound();
    const Json overview = {
        {"version", 1},
        {"name", settings.name},
        {"recording", settings.recording},
        {"live", state.live},
        {"complete", complete},
        {"revision", state.revision},
        {"bytes", state.bytes},
        {"indexed", state.indexed},
        {"framing", framing.framed ? "tpiu:" + std::to_string(framing.stream) : std::string("itm")},
        {"axis",
         {{"kind", Swo::AxisKindName(axis.Kind())}, {"unit", axis.Unit()}, {"begin", 0}, {"end", state.end}}},
        {"clock_hz", OrNull(settings.clockHz)},
        {"timestamp_prescale", settings.analysis.prescale},
        {"baud", OrNull(settings.baud)},
        {"verdict", VerdictOf(settings, analysis.Features())},
        {"lost", LostOf(settings, analysis.Losses().Totals())},
        {"forecast", OrNull(forecast)},
        {"elf", OrNull(settings.elf)},
        {"lines", settings.lines != nullptr},
        {"stoppable", settings.stoppable && state.live},
        {"changeable", settings.changeable},
        {"port", OrNull(settings.port)},
        {"started", OrNull(settings.started)},
        {"tracks", TracksOf(settings, index)}};
    return TextOf(overview);
}

}  // namespace Korr::Plim::Trace::Viewer
