#include "tracehost/recording_sheet.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

namespace Korr::Plim::Trace::Tracehost {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kFormatName = "KTRS";
constexpr uint32_t kSheetVersion = 1;
constexpr std::size_t kMostLedgerKinds = 64;
constexpr double kLargestNumber = 1e15;

constexpr struct {
    const char* name;
    std::string RecordingSheet::*field;
} kTexts[] = {{"host", &RecordingSheet::host},
              {"plugin", &RecordingSheet::plugin},
              {"port", &RecordingSheet::port},
              {"probe", &RecordingSheet::probe},
              {"cpu", &RecordingSheet::cpu},
              {"started", &RecordingSheet::started},
              {"trace_clock_from", &RecordingSheet::clockFrom},
              {"stop_reason", &RecordingSheet::stopReason},
              {"port_counters_note", &RecordingSheet::countersNote}};

constexpr struct {
    const char* name;
    std::optional<double> RecordingSheet::*field;
} kDecimals[] = {{"baud_asked", &RecordingSheet::baudAsked},
                 {"baud_taken", &RecordingSheet::baudTaken},
                 {"trace_clock_hz", &RecordingSheet::traceClock},
                 {"seconds", &RecordingSheet::seconds}};

constexpr struct {
    const char* name;
    uint64_t PortCounters::*field;
} kCounters[] = {{"overrun", &PortCounters::overrun},
                 {"buffer_overrun", &PortCounters::bufferOverrun},
                 {"framing", &PortCounters::framing},
                 {"parity", &PortCounters::parity},
                 {"break", &PortCounters::breaks}};

std::string Cut(const std::string& text) { return text.substr(0, kLongestSheetText); }

Json CountersToJson(const PortCounters& counters) {
    Json object = Json::object();
    for (const auto& counter : kCounters) object[counter.name] = counters.*counter.field;
    return object;
}

Json ToJson(const RecordingSheet& sheet) {
    Json object = {{"format", kFormatName}, {"version", kSheetVersion}};
    for (const auto& text : kTexts) {
        if (!(sheet.*text.field).empty()) object[text.name] = Cut(sheet.*text.field);
    }
    for (const auto& decimal : kDecimals) {
        if (sheet.*decimal.field) object[decimal.name] = *(sheet.*decimal.field);
    }
    if (sheet.prescaler) object["prescaler"] = *sheet.prescaler;
    if (sheet.timestampPrescale) object["timestamp_prescale"] = *sheet.timestampPrescale;
    if (sheet.bytes) object["bytes"] = *sheet.bytes;
    if (sheet.readError) object["read_error"] = *sheet.readError;
    if (sheet.countersBefore) object["port_counters_before"] = CountersToJson(*sheet.countersBefore);
    if (sheet.countersAfter) object["port_counters_after"] = CountersToJson(*sheet.countersAfter);
    for (const CounterGrowth& growth : sheet.counterGrowth) {
        if (object["port_counter_growth"].size() == kMostCounterGrowths) break;
        Json row = {growth.bytes};
        for (const auto& counter : kCounters) row.push_back(growth.by.*counter.field);
        object["port_counter_growth"].push_back(std::move(row));
    }
    for (const auto& [kind, count] : sheet.ledger) object["ledger"][kind] = count;
    for (const RateRow& row : sheet.rates) {
        if (object["rates"].size() == kMostRateRows) break;
        object["rates"].push_back({row.prescaler, row.asked, row.taken});
    }
    for (const ArrivalPoint& point : sheet.arrivals) {
        if (object["arrivals"].size() == kMostArrivalPoints) break;
        object["arrivals"].push_back({point.milliseconds, point.bytes});
    }
    return object;
}

std::string Dump(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

bool ReadWhole(const Json& value, uint64_t most, uint64_t& number) {
    if (!value.is_number_unsigned() || value.get<uint64_t>() > most) return false;
    number = value.get<uint64_t>();
    return true;
}

bool ReadWhole(const Json& value, uint64_t most, std::optional<uint32_t>& number) {
    uint64_t whole = 0;
    if (!ReadWhole(value, most, whole)) return false;
    number = static_cast<uint32_t>(whole);
    return true;
}

bool ReadDecimal(const Json& value, double& number) {
    if (!value.is_number()) return false;
    const auto read = value.get<double>();
    if (!std::isfinite(read) || read < 0 || read > kLargestNumber) return false;
    number = read;
    return true;
}

bool ReadCounters(const Json& value, std::optional<PortCounters>& counters) {
    if (!value.is_object()) return false;
    PortCounters read;
    for (const auto& counter : kCounters) {
        const auto found = value.find(counter.name);
        if (found != value.end() && !ReadWhole(*found, UINT64_MAX, read.*counter.field)) return false;
    }
    counters = read;
    return true;
}

bool ReadLedger(const Json& value, std::map<std::string, uint64_t>& ledger) {
    if (!value.is_object() || value.size() > kMostLedgerKinds) return false;
    std::map<std::string, uint64_t> read;
    for (const auto& [kind, count] : value.items()) {
        if (kind.size() > kLongestSheetText || !ReadWhole(count, UINT64_MAX, read[kind])) return false;
    }
    ledger = std::move(read);
    return true;
}

bool ReadArrivals(const Json& value, std::vector<ArrivalPoint>& arrivals) {
    if (!value.is_array() || value.size() > kMostArrivalPoints) return false;
    std::vector<ArrivalPoint> read;
    ArrivalPoint last;
    for (const Json& pair : value) {
        ArrivalPoint point;
        if (!pair.is_array() || pair.size() != 2 || !ReadWhole(pair[0], UINT64_MAX, point.milliseconds) ||
            !ReadWhole(pair[1], UINT64_MAX, point.bytes) || point.milliseconds < last.milliseconds ||
            point.bytes < last.bytes) {
            return false;
        }
        read.push_back(last = point);
    }
    arrivals = std::move(read);
    return true;
}

/// Rows of the bytes and the counters, in the order of kCounters.
bool ReadGrowth(const Json& value, std::vector<CounterGrowth>& growth) {
    if (!value.is_array() || value.size() > kMostCounterGrowths) return false;
    std::vector<CounterGrowth> read;
    uint64_t last = 0;
    for (const Json& row : value) {
        CounterGrowth point;
        if (!row.is_array() || row.size() != 1 + std::size(kCounters)) return false;
        if (!ReadWhole(row[0], UINT64_MAX, point.bytes) || point.bytes < last) return false;
        for (std::size_t i = 0; i < std::size(kCounters); ++i) {
            if (!ReadWhole(row[i + 1], UINT64_MAX, point.by.*kCounters[i].field)) return false;
        }
        last = point.bytes;
        read.push_back(point);
    }
    growth = std::move(read);
    return true;
}

bool ReadRates(const Json& value, std::vector<RateRow>& rates) {
    if (!value.is_array() || value.size() > kMostRateRows) return false;
    std::vector<RateRow> read;
    for (const Json& triple : value) {
        RateRow row;
        uint64_t prescaler = 0;
        uint64_t taken = 0;
        if (!triple.is_array() || triple.size() != 3 || !ReadWhole(triple[0], 8191, prescaler) ||
            !ReadDecimal(triple[1], row.asked) || !ReadWhole(triple[2], UINT32_MAX, taken)) {
            return false;
        }
        row.prescaler = static_cast<uint32_t>(prescaler);
        row.taken = static_cast<uint32_t>(taken);
        read.push_back(row);
    }
    rates = std::move(read);
    return true;
}

bool ReadText(const Json& value, std::string& text) {
    if (!value.is_string() || value.get_ref<const std::string&>().size() > kLongestSheetText) return false;
    text = value.get<std::string>();
    std::replace_if(
        text.begin(), text.end(), [](char c) { return (c >= 0 && c < ' ') || c == 0x7F; }, '?');
    return true;
}

bool ReadPrescale(const Json& value, std::optional<uint32_t>& prescale) {
    std::optional<uint32_t> read;
    if (!ReadWhole(value, 64, read)) return false;
    if (*read != 1 && *read != 4 && *read != 16 && *read != 64) return false;
    prescale = read;
    return true;
}

/// \return whether the field is not known, or could be used
bool ReadField(const std::string& name, const Json& value, RecordingSheet& sheet) {
    for (const auto& text : kTexts) {
        if (name == text.name) return ReadText(value, sheet.*text.field);
    }
    for (const auto& decimal : kDecimals) {
        double number = 0;
        if (name != decimal.name) continue;
        if (!ReadDecimal(value, number)) return false;
        sheet.*decimal.field = number;
        return true;
    }
    if (name == "prescaler") return ReadWhole(value, 8191, sheet.prescaler);
    if (name == "read_error") return ReadWhole(value, UINT32_MAX, sheet.readError);
    if (name == "timestamp_prescale") return ReadPrescale(value, sheet.timestampPrescale);
    if (name == "bytes") {
        uint64_t bytes = 0;
        if (!ReadWhole(value, UINT64_MAX, bytes)) return false;
        sheet.bytes = bytes;
        return true;
    }
    if (name == "port_counters_before") return ReadCounters(value, sheet.countersBefore);
    if (name == "port_counters_after") return ReadCounters(value, sheet.countersAfter);
    if (name == "port_counter_growth") return ReadGrowth(value, sheet.counterGrowth);
    if (name == "ledger") return ReadLedger(value, sheet.ledger);
    if (name == "rates") return ReadRates(value, sheet.rates);
    if (name == "arrivals") return ReadArrivals(value, sheet.arrivals);
    return true;
}

}  // namespace

std::string FormatSheet(const RecordingSheet& sheet) {
    const Json object = ToJson(sheet);
    std::string text = "{";
    for (const auto& [name, value] : object.items()) {
        text.append(text.size() == 1 ? "\n  " : ",\n  ").append(Dump(name)).append(": ").append(Dump(value));
    }
    return text + "\n}\n";
}

SheetReading ParseSheet(std::string_view text) {
    SheetReading reading;
    if (text.size() > kLongestSheet) {
        reading.problem = "it is longer than " + std::to_string(kLongestSheet) + " bytes";
        return reading;
    }
    const Json object = Json::parse(text, nullptr, false);
    if (object.is_discarded() || !object.is_object()) {
        reading.problem = "it is no JSON object";
        return reading;
    }
    const auto format = object.find("format");
    if (format == object.end() || *format != kFormatName) {
        reading.problem = "its format is not \"KTRS\"";
        return reading;
    }
    for (const auto& [name, value] : object.items()) {
        if (ReadField(name, value, reading.sheet) || !reading.problem.empty()) continue;
        reading.problem = "its field \"" + name + "\" cannot be used";
    }
    return reading;
}

void ArrivalLog::Add(const ArrivalPoint& point) {
    last = point;
    if (count++ % stride != 0) return;
    kept.push_back(point);
    if (kept.size() < kMostArrivalPoints) return;
    for (std::size_t i = 0; i < kept.size() / 2; ++i) kept[i] = kept[2 * i];
    kept.resize(kept.size() / 2);
    stride *= 2;
}

std::vector<ArrivalPoint> ArrivalLog::Points() const {
    std::vector<ArrivalPoint> points = kept;
    if (count > 0 && points.back() != last) points.push_back(last);
    return points;
}

}  // namespace Korr::Plim::Trace::Tracehost
