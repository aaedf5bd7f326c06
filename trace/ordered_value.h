#pragma once

#include <bit>
#include <cmath>

#include "trace/port_values.h"

namespace Korr::Plim::Trace::Swo {

/// Numbers of one type as unsigned ones of the same order, which take half the memory of a double. None: what
/// was written is no such number (see NumberOf, and NaN).
inline std::optional<uint32_t> OrderedOf(const Packet& packet, PortType type) {
    constexpr uint32_t kSign = 0x80000000;
    const auto number = NumberOf(packet, type);
    if (!number || std::isnan(*number)) return std::nullopt;
    switch (type) {
        case PortType::I8:
        case PortType::I16:
        case PortType::I32:
            return static_cast<uint32_t>(static_cast<int32_t>(*number)) ^ kSign;
        case PortType::F32: {
            const auto bits = std::bit_cast<uint32_t>(static_cast<float>(*number));
            return (bits & kSign) != 0 ? ~bits : bits | kSign;
        }
        default:
            return static_cast<uint32_t>(*number);
    }
}

/// The number itself again.
inline double NumberOfOrdered(uint32_t ordered, PortType type) {
    constexpr uint32_t kSign = 0x80000000;
    switch (type) {
        case PortType::I8:
        case PortType::I16:
        case PortType::I32:
            return static_cast<int32_t>(ordered ^ kSign);
        case PortType::F32:
            return std::bit_cast<float>((ordered & kSign) != 0 ? ordered ^ kSign : ~ordered);
        default:
            return ordered;
    }
}

}  // namespace Korr::Plim::Trace::Swo
