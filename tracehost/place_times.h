#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tracehost/recording_sheet.h"

namespace Korr::Plim::Trace::Tracehost {

/// When the bytes of a capture came, for captures whose packets do not tell: as the host saw them arrive, or
/// not before the line could carry them.
class PlaceTimes {
  public:
    enum class Kind {
        None,     ///< nothing is known
        Arrival,  ///< by the points of the recording's sheet
        Line,     ///< by the line's rate: the earliest time, as if it had never paused
    };

    /// \param baud of the line, as the user gives it; absent: the sheet's
    PlaceTimes(const RecordingSheet& sheet, std::optional<double> baud);

    Kind Known() const { return kind; }
    /// From the recording's beginning on, for the byte at `offset`. Behind the last point of a sheet it is
    /// that point's. \pre Known is not None
    uint64_t Nanoseconds(uint64_t offset) const;
    /// "times are those of arrival, within 100 ms", "times are the earliest possible at 2,000,000 baud", or
    /// "a place is an offset".
    std::string Explained() const;
    /// What stands above a column of them: "arrived", "earliest"; empty when nothing is known.
    std::string Title() const;

  private:
    Kind kind = Kind::None;
    std::vector<ArrivalPoint> arrivals;
    double rate = 0;  ///< baud
};

}  // namespace Korr::Plim::Trace::Tracehost
