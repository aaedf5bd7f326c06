#pragma once

#include <cstdint>
#include <optional>

#include "trace/trace_clock.h"

namespace Korr::Plim::Trace::Swo {

/// Values that are missing in a row that counts up by one.
struct CounterGap {
    uint64_t from = 0;     ///< offset of the last value before it
    uint64_t offset = 0;   ///< of the first value behind it
    uint64_t missing = 0;  ///< modulo 2 to the power of the values' bits
    PacketTime time;       ///< trace time of the value behind it
};

/// Follows a counter of 8, 16 or 32 bits. A value that does not fit is believed when the next one fits behind
/// it, or lies further on the same way; else it was read across a hole, and counts as missing.
class CounterGaps {
  public:
    struct Value {
        uint32_t value = 0;
        uint8_t size = 4;  ///< bytes
        uint64_t offset = 0;
        PacketTime time;
        bool suspect = false;  ///< believed only when it fits
    };

    /// Takes the next value. Up to two gaps, to be taken from First and Second, are known afterwards.
    void Take(const Value& next);
    /// No more values come.
    void Finish();
    std::optional<CounterGap> First() const { return first; }
    std::optional<CounterGap> Second() const { return second; }

  private:
    static uint32_t Distance(const Value& from, const Value& to);
    static CounterGap Between(const Value& from, const Value& to);

    std::optional<Value> last;   ///< the last value that is believed
    std::optional<Value> doubt;  ///< one behind it that did not fit
    std::optional<CounterGap> first;
    std::optional<CounterGap> second;
};

}  // namespace Korr::Plim::Trace::Swo
