#include "tracehost/recording_json.h"

#include "tracehost/rate_table.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

const char* Name(EndReason reason) {
    switch (reason) {
        case EndReason::Asked:
            return "interrupt";
        case EndReason::Time:
            return "seconds";
        case EndReason::Size:
            return "bytes";
        case EndReason::ReaderGone:
            return "reader-gone";
        case EndReason::OutputFull:
            return "output-full";
        case EndReason::Fault:
            break;
    }
    return "fault";
}

/// Since 1970.
double SecondsOf(std::chrono::system_clock::time_point time) {
    return std::chrono::duration<double>(time.time_since_epoch()).count();
}

Json PartToJson(const RecordedPart& part) {
    return {{"file", part.file},
            {"capture_file", part.captureFile},
            {"begin", part.begin},
            {"end", part.end},
            {"bytes", part.bytes},
            {"fault", OrNull(part.fault)},
            {"fault_at", part.fault.empty() ? Json() : Json(part.faultAt)}};
}

Json ClientsToJson(const TcpClients& clients) {
    return {{"port", clients.port},
            {"clients", clients.served},
            {"cut_off", clients.cutOff},
            {"turned_away", clients.turnedAway}};
}

}  // namespace

Json ToJson(const RecordRequest& request, const OutputFile& file, const RecordingResult& result,
            const Conclusion& conclusion) {
    std::string problem;
    for (const std::string& each : conclusion.problems) problem += (problem.empty() ? "" : "; ") + each;
    Json object = {{"status", conclusion.status},
                   {"problem", OrNull(problem)},
                   {"end", Name(result.reason)},
                   {"cpu", request.cpu},
                   {"bytes", result.bytes},
                   {"started", SecondsOf(result.started)},
                   {"seconds", result.seconds},
                   {"lost_bytes", result.lostBytes},
                   {"trace_clock_hz", result.traceClock},
                   {"prescaler", result.Prescaler()},
                   {"baud_rate", static_cast<uint64_t>(result.bitRate)},
                   {"format", file.Raw() ? "raw" : "tdf"},
                   {"tcp", conclusion.tcp ? ClientsToJson(*conclusion.tcp) : Json()},
                   {"rates", Json::array()},
                   {"parts", Json::array()}};
    for (const RateRow& row : result.rates) {
        object["rates"].push_back({{"prescaler", row.prescaler},
                                   {"asked", row.asked},
                                   {"taken", row.taken},
                                   {"error", RateError(row)}});
    }
    for (const RecordedPart& part : result.parts) object["parts"].push_back(PartToJson(part));
    return object;
}

}  // namespace Korr::Plim::Trace::Tracehost
