#pragma once

#include <algorithm>
#include <cstdint>

/// \file
/// What one track shows in one block of a recording. `block` counts blocks of the level a cell belongs to.
/// Later blocks are folded in; numbers stop at their type's end.

namespace Korr::Plim::Trace::Swo {

inline uint32_t AddUpTo(uint32_t a, uint32_t b) { return a + std::min(b, UINT32_MAX - a); }

/// All packets. Losses by their places.
struct BandwidthCell {
    uint32_t block = 0;
    uint32_t packets = 0;
    uint32_t padding = 0;  ///< bytes of the null stream
    uint32_t overflows = 0;
    uint32_t damage = 0;

    void Fold(const BandwidthCell& later) {
        packets = AddUpTo(packets, later.packets);
        padding = AddUpTo(padding, later.padding);
        overflows = AddUpTo(overflows, later.overflows);
        damage = AddUpTo(damage, later.damage);
    }
    bool operator==(const BandwidthCell&) const = default;
};

/// Values, see OrderedOf. Without suspect ones.
struct ValueCell {
    uint32_t block = 0;
    uint32_t count = 0;  ///< 0: nothing else is set
    uint32_t min = 0;
    uint32_t max = 0;
    uint32_t first = 0;
    uint32_t last = 0;

    static ValueCell Of(uint32_t value) { return {0, 1, value, value, value, value}; }
    void Add(uint32_t value) {
        if (count == 0) {
            min = max = first = value;
        } else if (value < min) {
            min = value;
        } else if (value > max) {
            max = value;
        }
        last = value;
        count = AddUpTo(count, 1);
    }
    void Fold(const ValueCell& later) {
        if (later.count == 0) return;
        min = count == 0 ? later.min : std::min(min, later.min);
        max = count == 0 ? later.max : std::max(max, later.max);
        if (count == 0) first = later.first;
        last = later.last;
        count = AddUpTo(count, later.count);
    }
    bool operator==(const ValueCell&) const = default;
};

struct CountCell {
    uint32_t block = 0;
    uint32_t count = 0;

    void Fold(const CountCell& later) { count = AddUpTo(count, later.count); }
    bool operator==(const CountCell&) const = default;
};

/// Samples of the PC, without suspect ones.
struct PcCell {
    uint32_t block = 0;
    uint32_t samples = 0;  ///< with an address
    uint32_t sleeping = 0;

    void Fold(const PcCell& later) {
        samples = AddUpTo(samples, later.samples);
        sleeping = AddUpTo(sleeping, later.sleeping);
    }
    bool operator==(const PcCell&) const = default;
};

/// Text of a port.
struct TextCell {
    uint32_t block = 0;
    uint32_t bytes = 0;
    uint32_t lines = 0;  ///< that begin here
    uint16_t open = 0;   ///< bytes of the line that is open where the block begins; 0: none is

    void Fold(const TextCell& later) {
        bytes = AddUpTo(bytes, later.bytes);
        lines = AddUpTo(lines, later.lines);
    }
    bool operator==(const TextCell&) const = default;
};

/// An exception; of number 0, that nothing was known. Times are in positions, see RecordingAxis.
struct ExceptionCell {
    uint32_t block = 0;
    uint32_t entries = 0;
    uint64_t active = 0;  ///< it ran, or others above it
    uint64_t self = 0;    ///< it ran itself
    uint8_t depth = 0;    ///< the most that were active below it while it ran itself

    void Fold(const ExceptionCell& later) {
        entries = AddUpTo(entries, later.entries);
        active += later.active;
        self += later.self;
        depth = std::max(depth, later.depth);
    }
    bool operator==(const ExceptionCell&) const = default;
};

}  // namespace Korr::Plim::Trace::Swo
