#pragma once

#include <cstdint>
#include <span>

#include "trace/header_table.h"

namespace Korr::Plim::Trace::Swo {

/// How far bytes are an ITM stream, wherever it begins: read from the first byte on, and on behind what is no
/// packet, without waiting for a synchronisation packet.
struct Validity {
    uint64_t good = 0;  ///< bytes in well-formed packets with an assigned meaning
    uint64_t all = 0;   ///< bytes, but for an incomplete packet at the end

    /// 0 to 1; 0 when there were no bytes.
    double Share() const { return all == 0 ? 0 : static_cast<double>(good) / static_cast<double>(all); }
};

Validity MeasureItm(std::span<const uint8_t> bytes, Architecture architecture = Architecture::Any);

}  // namespace Korr::Plim::Trace::Swo
