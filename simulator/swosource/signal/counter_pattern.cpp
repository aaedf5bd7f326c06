#include "simulator/swosource/signal/counter_pattern.h"

namespace Korr::Plim::Trace::Simulator {
namespace counter_pattern {
namespace {

constexpr uint8_t kMark = 0xA6;

/// Mixes the number so that neighbouring blocks differ in all check bytes.
uint32_t CheckBits(uint32_t number) {
    const uint64_t mixed = (number + 1ULL) * 0x9E3779B97F4A7C15ULL;
    return static_cast<uint32_t>(mixed >> 40);
}

}  // namespace

Block MakeBlock(uint32_t number) {
    const uint32_t check = CheckBits(number);
    return {kMark,
            static_cast<uint8_t>(number),
            static_cast<uint8_t>(number >> 8),
            static_cast<uint8_t>(number >> 16),
            static_cast<uint8_t>(number >> 24),
            static_cast<uint8_t>(check),
            static_cast<uint8_t>(check >> 8),
            static_cast<uint8_t>(check >> 16)};
}

uint8_t ByteAt(uint64_t place) {
    return MakeBlock(static_cast<uint32_t>(place / kBlockSize))[place % kBlockSize];
}

bool ReadBlock(const uint8_t* bytes, uint32_t& number) {
    number = static_cast<uint32_t>(bytes[1]) | static_cast<uint32_t>(bytes[2]) << 8 |
             static_cast<uint32_t>(bytes[3]) << 16 | static_cast<uint32_t>(bytes[4]) << 24;
    const Block expected = MakeBlock(number);
    for (size_t i = 0; i < kBlockSize; ++i) {
        if (bytes[i] != expected[i]) return false;
    }
    return true;
}

}  // namespace counter_pattern

size_t CounterPattern::Read(uint8_t* buffer, size_t count) {
    for (size_t i = 0; i < count; ++i) buffer[i] = counter_pattern::ByteAt(place++);
    return count;
}

nlohmann::ordered_json CounterPattern::Content() const {
    return {{"blocks", place / counter_pattern::kBlockSize}, {"bytes", place}};
}

}  // namespace Korr::Plim::Trace::Simulator
