#pragma once

#include <cstdint>
#include <optional>

#include "host_api/MemoryAccessor.h"

namespace Korr::Plim::Trace::Tarnel {

/// Throws the error of a clock that cannot be found automatically. \throws cPelkitError always
[[noreturn]] void ThrowClockError();

/// One word of the target's memory, read when it is made, or not to be had: the read failed, or there was no
/// accessor.
///
/// What a clock is computed from is asked with ForClock, which is the one rule for words that could not be
/// read: there is no clock then, because a recording at a wrong rate is worse than none. Words that the clock
/// at hand does not depend on may be unreadable.
class TargetWord {
  public:
    /// One 4-byte read. \param memory not kept, may be null
    TargetWord(MemoryAccessor* memory, uint32_t address);
    /// Not to be had.
    TargetWord() = default;

    /// The value; 0 when it is not to be had.
    uint32_t OrZero() const { return word.value_or(0); }
    /// The value. \throws cPelkitError, that of ThrowClockError, when it is not to be had
    uint32_t ForClock() const;

  private:
    std::optional<uint32_t> word;
};

/// Bits `low` to `high` (both included, 0 to 31) of a word, moved down to bit 0.
constexpr uint32_t Bits(uint32_t word, unsigned low, unsigned high) {
    const uint64_t mask = (uint64_t{1} << (high - low + 1)) - 1;
    return static_cast<uint32_t>((word >> low) & mask);
}

}  // namespace Korr::Plim::Trace::Tarnel
