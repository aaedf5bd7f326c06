#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <string>

namespace second_reading {

/// Numbers that follow from a seed alone, the same on every platform (SplitMix64).
class Random {
  public:
    explicit Random(uint64_t seed) : state(seed) {}

    uint64_t Next() {
        uint64_t number = state += 0x9E3779B97F4A7C15u;
        number = (number ^ (number >> 30)) * 0xBF58476D1CE4E5B9u;
        number = (number ^ (number >> 27)) * 0x94D049BB133111EBu;
        return number ^ (number >> 31);
    }
    uint32_t Word() { return static_cast<uint32_t>(Next()); }
    /// 0 to `count` - 1.
    uint32_t Below(uint32_t count) { return static_cast<uint32_t>(Next() % count); }
    /// True in `percent` of 100 cases.
    bool Percent(uint32_t percent) { return Below(100) < percent; }
    /// 0 to 1, 1 excluded.
    double Fraction() { return static_cast<double>(Next() >> 11) / 9007199254740992.0; }
    template <typename Value>
    Value OneOf(std::initializer_list<Value> values) {
        return *(values.begin() + Below(static_cast<uint32_t>(values.size())));
    }

  private:
    uint64_t state;
};

/// The seed of this run: that of the variable TARNEL_SECOND_READING_SEED, else always the same.
inline uint64_t RunSeed() {
    const char* const text = std::getenv("TARNEL_SECOND_READING_SEED");
    return text != nullptr ? std::strtoull(text, nullptr, 0) : 20261122;
}

/// Calls `compare` with the random numbers of each case until one fails; prints how to see the run again.
template <typename Compare>
void ForRandomCases(int cases, Compare compare) {
    std::printf("%d cases of TARNEL_SECOND_READING_SEED=%llu\n", cases,
                static_cast<unsigned long long>(RunSeed()));
    for (int number = 0; number < cases; ++number) {
        Random random(RunSeed() * 1000003u + static_cast<uint64_t>(number));
        SCOPED_TRACE("case " + std::to_string(number));
        compare(random);
        if (testing::Test::HasFailure()) return;
    }
}

}  // namespace second_reading
