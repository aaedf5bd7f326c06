#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tracehost/counter_log.h"
#include "tracehost/port_counters.h"

namespace Korr::Plim::Trace::Tracehost {

/// How many bytes had arrived how long after the start. The host's poll decides how exact that is.
struct ArrivalPoint {
    uint64_t milliseconds = 0;
    uint64_t bytes = 0;
    bool operator==(const ArrivalPoint&) const = default;
};

/// One rate that a port was asked for.
struct RateRow {
    uint32_t prescaler = 0;
    double asked = 0;    ///< baud
    uint32_t taken = 0;  ///< baud that the port reported afterwards; 0: it refused
    bool operator==(const RateRow&) const = default;
};

inline constexpr std::size_t kMostArrivalPoints = 4096;
inline constexpr std::size_t kMostRateRows = 8192;
inline constexpr std::size_t kLongestSheet = std::size_t{1} << 20;  ///< bytes
inline constexpr std::size_t kLongestSheetText = 256;               ///< bytes of one text in a sheet

/// What the host knew when it recorded, kept with the recording so that nobody has to say it again. Every
/// field may be missing: texts are empty then, lists too.
struct RecordingSheet {
    std::string host;        ///< program and version
    std::string plugin;      ///< the plug-in's file and version
    std::string port;        ///< "COM5"
    std::string probe;       ///< the connected probe's name
    std::string cpu;         ///< name of the CPU
    std::string started;     ///< UTC, "2026-11-22T04:50:00Z"
    std::string clockFrom;   ///< "given" or "device"
    std::string stopReason;  ///< why the recording ended
    std::optional<double> baudAsked;
    std::optional<double> baudTaken;   ///< what the port reports
    std::optional<double> traceClock;  ///< Hz
    std::optional<uint32_t> prescaler;
    std::optional<uint32_t> timestampPrescale;  ///< 1, 4, 16 or 64
    std::optional<double> seconds;              ///< of recording
    std::optional<uint64_t> bytes;              ///< captured, without padding
    std::optional<uint32_t> readError;          ///< the platform's, with which the port's reader ended
    std::vector<ArrivalPoint> arrivals;         ///< both numbers never fall
    std::optional<PortCounters> countersBefore;
    std::optional<PortCounters> countersAfter;
    std::vector<CounterGrowth> counterGrowth;  ///< between the two; the bytes never fall
    std::string countersNote;                  ///< why there are no counters
    std::map<std::string, uint64_t> ledger;    ///< what was lost, by kind
    std::vector<RateRow> rates;                ///< of a search for the prescaler
    bool operator==(const RecordingSheet&) const = default;
};

/// The sheet as JSON text, one field a line, at most kLongestSheet bytes. Texts are cut to kLongestSheetText.
std::string FormatSheet(const RecordingSheet& sheet);

/// What was understood of a sheet.
struct SheetReading {
    RecordingSheet sheet;
    /// What is wrong with it in a few words, empty when nothing is. A text that is no sheet gives an empty
    /// sheet; a field that cannot be used is left out, and the first such field is named.
    std::string problem;
};

/// Reads any text. Fields that are not known are passed over, control characters in texts become "?".
SheetReading ParseSheet(std::string_view text);

/// Collects arrival points: when there are more than kMostArrivalPoints every other one goes, and from then
/// on only every second, fourth, eighth … is taken. The last point given is always kept.
class ArrivalLog {
  public:
    void Add(const ArrivalPoint& point);
    std::vector<ArrivalPoint> Points() const;

  private:
    std::vector<ArrivalPoint> kept;
    ArrivalPoint last;
    uint64_t stride = 1;
    uint64_t count = 0;
};

}  // namespace Korr::Plim::Trace::Tracehost
