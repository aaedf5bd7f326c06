#include "viewer/window_encoding.h"

#include <charconv>
#include <cstring>
#include <nlohmann/json.hpp>

namespace Korr::Plim::Trace::Viewer {

namespace {

using Json = nlohmann::ordered_json;

constexpr size_t kAlignment = 8;
constexpr std::array<std::string_view, Swo::kFirstPmuCounter> kCounterNames = {"cpi", "exc",  "sleep",
                                                                               "lsu", "fold", "cyc"};
constexpr std::array<std::string_view, 4> kWatchNames = {"read", "write", "pc", "address"};

template <class Number>
constexpr std::string_view TypeOf() {
    if constexpr (std::is_same_v<Number, uint8_t>) return "u8";
    if constexpr (std::is_same_v<Number, uint16_t>) return "u16";
    if constexpr (std::is_same_v<Number, uint32_t>) return "u32";
    if constexpr (std::is_same_v<Number, float>) return "f32";
    if constexpr (std::is_same_v<Number, double>) return "f64";
}

size_t Aligned(size_t size) { return (size + kAlignment - 1) / kAlignment * kAlignment; }

void AppendLittleEndian(std::string& out, uint32_t number) {
    for (int i = 0; i < 4; ++i) out += static_cast<char>(number >> 8 * i & 0xFF);
}

/// Where each array will stand, and how many bytes all of them take.
class Layout {
  public:
    Json Place(const std::vector<Swo::NamedArray>& arrays) {
        Json places = Json::object();
        for (const Swo::NamedArray& array : arrays) {
            std::visit(
                [&](const auto& numbers) {
                    using Number = typename std::decay_t<decltype(numbers)>::value_type;
                    places[std::string(array.name)] = {
                        {"type", TypeOf<Number>()}, {"at", size}, {"count", numbers.size()}};
                    size = Aligned(size + numbers.size() * sizeof(Number));
                },
                array.data);
        }
        return places;
    }
    size_t Size() const { return size; }

  private:
    size_t size = 0;
};

/// All targets are little-endian, as the form is.
void Append(std::string& out, const std::vector<Swo::NamedArray>& arrays) {
    static_assert(std::endian::native == std::endian::little);
    for (const Swo::NamedArray& array : arrays) {
        std::visit(
            [&out](const auto& numbers) {
                out.append(reinterpret_cast<const char*>(numbers.data()),
                           numbers.size() * sizeof(numbers.front()));
                out.resize(Aligned(out.size()));
            },
            array.data);
    }
}

/// All of an answer up to its arrays.
std::string BeginAnswer(const Json& header, const Layout& layout) {
    const std::string text = header.dump();
    std::string out;
    out.reserve(Aligned(8 + text.size()) + layout.Size());
    out = "KTW1";
    AppendLittleEndian(out, static_cast<uint32_t>(text.size()));
    out += text;
    out.resize(Aligned(out.size()));
    return out;
}

std::optional<uint16_t> NumberOf(std::string_view text, size_t below) {
    uint16_t number = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (failure != std::errc() || end != text.data() + text.size() || number >= below) return std::nullopt;
    return number;
}

std::optional<Swo::Track> WatchOf(std::string_view text) {
    const size_t colon = std::min(text.find(':'), text.size());
    const auto comparator = NumberOf(text.substr(0, colon), Swo::kComparators);
    for (size_t i = 0; comparator && i < kWatchNames.size(); ++i) {
        if (text.substr(std::min(colon + 1, text.size())) != kWatchNames[i]) continue;
        return Swo::TrackAt(Swo::track_row::kWatch + size_t{4} * *comparator + i);
    }
    return std::nullopt;
}

std::optional<Swo::Track> CounterOf(std::string_view text) {
    for (size_t i = 0; i < kCounterNames.size(); ++i) {
        if (text == kCounterNames[i]) return Swo::Track{Swo::TrackKind::Counter, static_cast<uint16_t>(i)};
    }
    if (!text.starts_with("pmu")) return std::nullopt;
    const auto number = NumberOf(text.substr(3), Swo::kCounters - Swo::kFirstPmuCounter);
    if (!number) return std::nullopt;
    return Swo::Track{Swo::TrackKind::Counter, static_cast<uint16_t>(*number + Swo::kFirstPmuCounter)};
}

}  // namespace

std::string IdOf(const Swo::Track& track) {
    const std::string number = std::to_string(track.number);
    switch (track.kind) {
        case Swo::TrackKind::Bandwidth:
            return "bandwidth";
        case Swo::TrackKind::Nesting:
            return "nesting";
        case Swo::TrackKind::Exception:
            return "exception:" + number;
        case Swo::TrackKind::Port:
            return "port:" + number;
        case Swo::TrackKind::WatchRead:
        case Swo::TrackKind::WatchWrite:
        case Swo::TrackKind::WatchPc:
        case Swo::TrackKind::WatchAddress: {
            const auto which =
                static_cast<size_t>(track.kind) - static_cast<size_t>(Swo::TrackKind::WatchRead);
            return "watch:" + number + ":" + std::string(kWatchNames[which]);
        }
        case Swo::TrackKind::Counter:
            if (track.number < kCounterNames.size()) {
                return "counter:" + std::string(kCounterNames[track.number]);
            }
            return "counter:pmu" + std::to_string(track.number - Swo::kFirstPmuCounter);
        case Swo::TrackKind::Pc:
            break;
    }
    return "pc";
}

std::optional<Swo::Track> TrackOf(std::string_view id) {
    using Swo::TrackKind;
    if (id == "bandwidth") return Swo::Track{TrackKind::Bandwidth, 0};
    if (id == "nesting") return Swo::Track{TrackKind::Nesting, 0};
    if (id == "pc") return Swo::Track{TrackKind::Pc, 0};
    const size_t colon = std::min(id.find(':'), id.size());
    const std::string_view kind = id.substr(0, colon);
    const std::string_view rest = id.substr(std::min(colon + 1, id.size()));
    if (kind == "watch") return WatchOf(rest);
    if (kind == "counter") return CounterOf(rest);
    const bool port = kind == "port";
    if (!port && kind != "exception") return std::nullopt;
    const auto number = NumberOf(rest, port ? Swo::kPorts : Swo::kExceptions);
    if (!number) return std::nullopt;
    return Swo::Track{port ? TrackKind::Port : TrackKind::Exception, *number};
}

std::string DescribeStretch(double stretch, std::string_view unit) {
    struct Scale {
        double size;
        const char* name;
    };
    static constexpr std::array<Scale, 4> kTimes = {{{1e9, "s"}, {1e6, "ms"}, {1e3, "\u00b5s"}, {1, "ns"}}};
    std::string name(unit);
    if (unit == "ns") {
        const Scale* scale = &kTimes.back();
        for (const Scale& one : kTimes) {
            if (stretch < one.size) continue;
            scale = &one;
            break;
        }
        stretch /= scale->size;
        name = scale->name;
    }
    std::array<char, 32> text{};
    // Whole numbers have all their digits, others three.
    std::snprintf(text.data(), text.size(), stretch >= 100 && stretch < 1e15 ? "%.0f" : "%.3g", stretch);
    return std::string(text.data()) + " " + name;
}

std::string EncodeEvents(EventList&& list, double from, double to, uint64_t revision) {
    std::vector<Swo::NamedArray> arrays;
    arrays.push_back({"time", std::move(list.time)});
    arrays.push_back({"offset", std::move(list.offset)});
    arrays.push_back({"kind", std::move(list.kind)});
    arrays.push_back({"source", std::move(list.source)});
    arrays.push_back({"size", std::move(list.size)});
    arrays.push_back({"value", std::move(list.value)});
    arrays.push_back({"flags", std::move(list.flags)});
    arrays.push_back({"function", std::move(list.function)});
    Json kinds = Json::array();
    for (int kind = 0; kind < Swo::kPacketKinds; ++kind) {
        kinds.push_back(Swo::KindName(static_cast<Swo::PacketKind>(kind)));
    }
    Layout layout;
    Json tracks = Json::array({{{"id", "events"}, {"arrays", layout.Place(arrays)}}});
    const Json header = {{"revision", revision},
                         {"from", from},
                         {"to", to},
                         {"next", list.next ? Json(*list.next) : Json(nullptr)},
                         {"kinds", std::move(kinds)},
                         {"tracks", std::move(tracks)},
                         {"marks", {{"arrays", Json::object()}}}};
    std::string out = BeginAnswer(header, layout);
    Append(out, arrays);
    return out;
}

std::string EncodeWindow(const Swo::WindowAnswer& answer, const Swo::WindowFrame& frame, uint64_t revision,
                         uint64_t blockBytes) {
    Layout layout;
    Json tracks = Json::array();
    for (const Swo::WindowTrack& track : answer.tracks) {
        tracks.push_back({{"id", IdOf(track.track)}, {"arrays", layout.Place(track.arrays)}});
    }
    Json marks = {{"arrays", layout.Place(answer.marks)}};
    const std::string column = DescribeStretch((frame.to - frame.from) / frame.pixels, frame.axis.Unit());
    const Json header = {
        {"revision", revision},      {"from", frame.from},          {"to", frame.to},
        {"pixels", frame.pixels},    {"exact", answer.exact},       {"note", "1 px = " + column},
        {"block_bytes", blockBytes}, {"tracks", std::move(tracks)}, {"marks", std::move(marks)}};
    std::string out = BeginAnswer(header, layout);
    for (const Swo::WindowTrack& track : answer.tracks) Append(out, track.arrays);
    Append(out, answer.marks);
    return out;
}

}  // namespace Korr::Plim::Trace::Viewer
