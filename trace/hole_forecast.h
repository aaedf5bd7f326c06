#pragma once

#include <cstdint>
#include <span>

#include "trace/capture_analysis.h"

namespace Korr::Plim::Trace::Swo {

/// How likely bytes that were lost from a capture are noticed in it.
struct HoleForecast {
    int holes = 0;       ///< that were tried
    int seenAsLoss = 0;  ///< of them, noticed as damage or as a gap of the counter port
    int seenAsHint = 0;  ///< of them, noticed as a hint alone

    double Share() const { return holes == 0 ? 0 : static_cast<double>(seenAsLoss + seenAsHint) / holes; }
};

/// Takes bytes out of the beginning of a capture, at places and of lengths by chance (the same at every
/// call), and counts after how many of these holes the ledger holds an entry that it does not hold without.
/// \param bytes the capture's beginning; the more of up to kForecastBytes, the better
/// \param options as the capture is decoded; nobody is given packets or text
/// \return without holes when there are too few bytes to tell
HoleForecast ForecastHoles(std::span<const uint8_t> bytes, const AnalysisOptions& options);

inline constexpr size_t kForecastBytes = 65536;

}  // namespace Korr::Plim::Trace::Swo
