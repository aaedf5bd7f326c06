#pragma once

#include <bit>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "trace/packets.h"

namespace Korr::Plim::Trace::Swo {

/// What software writes to a stimulus port.
enum class PortType : uint8_t { Text, U8, I8, U16, I16, U32, I32, F32 };
inline constexpr int kPortTypes = static_cast<int>(PortType::F32) + 1;

/// The name that the user gives: "f32".
constexpr std::string_view PortTypeName(PortType type) {
    constexpr std::string_view kNames[] = {"text", "u8", "i8", "u16", "i16", "u32", "i32", "f32"};
    return kNames[static_cast<int>(type)];
}

/// Bytes of a value; 0 of text.
constexpr uint8_t PortTypeSize(PortType type) {
    constexpr uint8_t kSizes[] = {0, 1, 1, 2, 2, 4, 4, 4};
    return kSizes[static_cast<int>(type)];
}

struct PortFormat {
    PortType type = PortType::Text;
    std::string name;  ///< as the user calls it, any text; empty: it has none
};

/// By port, 0 to 255. A port that is not in it has text.
using PortFormats = std::map<uint8_t, PortFormat>;

/// The number that a write to a port of numbers says: the lowest bytes of what was written, as the type has
/// it. A write of fewer bytes is one of an unsigned type alone; of the others, and of text, it is none.
/// Floating point may be infinite or not a number.
inline std::optional<double> NumberOf(const Packet& stimulus, PortType type) {
    const bool isWhole = stimulus.size >= PortTypeSize(type);
    switch (type) {
        case PortType::Text:
            return std::nullopt;
        case PortType::U8:
            return static_cast<uint8_t>(stimulus.value);
        case PortType::U16:
            return static_cast<uint16_t>(stimulus.value);
        case PortType::U32:
            return stimulus.value;
        case PortType::I8:
            return static_cast<int8_t>(stimulus.value);
        case PortType::I16:
            if (!isWhole) return std::nullopt;
            return static_cast<int16_t>(stimulus.value);
        case PortType::I32:
            if (!isWhole) return std::nullopt;
            return static_cast<int32_t>(stimulus.value);
        case PortType::F32:
            if (!isWhole) return std::nullopt;
            return std::bit_cast<float>(stimulus.value);
    }
    return std::nullopt;
}

}  // namespace Korr::Plim::Trace::Swo
