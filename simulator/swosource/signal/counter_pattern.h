#pragma once

#include <array>

#include "simulator/swosource/signal/byte_source.h"

namespace Korr::Plim::Trace::Simulator {

/// The numbered pattern: blocks of 8 bytes, each a mark, a 32-bit block number (lowest byte first) and 24
/// check bits computed from the number. The byte at any place is a function of the place alone, so every
/// lost, doubled or changed byte shows (see CounterVerifier). It repeats after 2^32 blocks, 34 GB.
namespace counter_pattern {

inline constexpr size_t kBlockSize = 8;
using Block = std::array<uint8_t, kBlockSize>;

Block MakeBlock(uint32_t number);
/// The byte at a place of the stream, counted from 0.
uint8_t ByteAt(uint64_t place);
/// True when the 8 bytes at `bytes` are a block; `number` is its number then.
bool ReadBlock(const uint8_t* bytes, uint32_t& number);

}  // namespace counter_pattern

/// Sends the numbered pattern from its beginning, without end.
class CounterPattern : public ByteSource {
  public:
    size_t Read(uint8_t* buffer, size_t count) override;
    nlohmann::ordered_json Content() const override;

  private:
    uint64_t place = 0;
};

}  // namespace Korr::Plim::Trace::Simulator
