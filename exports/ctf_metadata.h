#pragma once

#include <cstdint>
#include <string>

#include "exports/timeline.h"

namespace Korr::Plim::Trace::Exports {

/// The kinds of events in a stream that CtfWriter writes.
enum class CtfEvent : uint8_t {
    Text,
    PortValue,
    PortFloat,
    PortPayload,
    Exception,
    PcSample,
    PcSleep,
    PcProhibited,
    DataValue,
    DataPc,
    DataAddress,
    DataMatch,
    EventCounters,
    PmuOverflow,
    Overflow,
    Damage,
    OtherPacket,
};

/// The description of such a stream, in the language of the Common Trace Format 1.8.
std::string CtfMetadata(const CaptureFacts& facts, const Names& names, const Axis& axis);

}  // namespace Korr::Plim::Trace::Exports
