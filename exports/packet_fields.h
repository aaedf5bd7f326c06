#pragma once

#include <string_view>

#include "trace/packets.h"

namespace Korr::Plim::Trace::Exports {

/// Which fields a packet has in a table of packets; the same for every format.
struct PacketFields {
    bool hasSource;
    bool hasValue;
    uint32_t size;              ///< payload bytes; of runs of bytes their number
    std::string_view function;  ///< "enter", "exit", "return", "read", "write"; empty: none
    std::string_view flags;     ///< "suspect", "salvaged", "suspect+salvaged"; empty: none
};

PacketFields FieldsOf(const Swo::Packet& packet);
/// The names of a packet's flags: "suspect", "salvaged", "suspect+salvaged"; empty: none.
std::string_view FlagNames(uint8_t flags);

}  // namespace Korr::Plim::Trace::Exports
