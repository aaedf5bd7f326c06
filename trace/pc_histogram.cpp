#include "trace/pc_histogram.h"

#include <algorithm>
#include <utility>

#include "trace/summary_cells.h"

namespace Korr::Plim::Trace::Swo {

namespace {

constexpr size_t kSmallest = 256;  // places of a table, a power of two

size_t PlaceOf(uint32_t address, size_t places) {
    return static_cast<size_t>((uint64_t{address} * 0x9E3779B97F4A7C15U) >> 20) & (places - 1);
}

}  // namespace

void PcHistogram::Add(uint32_t address, uint32_t samples) {
    if (table.empty()) Unpack();
    for (size_t at = PlaceOf(address, table.size());; at = (at + 1) & (table.size() - 1)) {
        Count& count = table[at];
        if (count.samples == 0) {
            if (used >= most) {
                other += samples;
            } else {
                count = {address, samples};
                if (++used * 2 > table.size()) Grow();
            }
            return;
        }
        if (count.address == address) {
            count.samples = AddUpTo(count.samples, samples);
            return;
        }
    }
}

void PcHistogram::Put(Count count) {
    size_t at = PlaceOf(count.address, table.size());
    while (table[at].samples != 0) at = (at + 1) & (table.size() - 1);
    table[at] = count;
    ++used;
}

void PcHistogram::Grow() {
    const std::vector<Count> before = std::exchange(table, std::vector<Count>(table.size() * 2));
    used = 0;
    for (const Count& count : before) {
        if (count.samples != 0) Put(count);
    }
}

void PcHistogram::Unpack() {
    size_t places = kSmallest;
    while (places < packed.size() * 2 + 1) places *= 2;
    table.assign(places, {});
    used = 0;
    for (const Count& count : packed) Put(count);
    packed = {};
}

void PcHistogram::Pack() {
    if (table.empty()) return;
    packed = Counts();
    packed.shrink_to_fit();
    std::sort(packed.begin(), packed.end(),
              [](const Count& a, const Count& b) { return a.address < b.address; });
    table = {};
}

std::vector<PcHistogram::Count> PcHistogram::Counts() const {
    if (table.empty()) return packed;
    std::vector<Count> counts;
    counts.reserve(used);
    std::copy_if(table.begin(), table.end(), std::back_inserter(counts),
                 [](const Count& count) { return count.samples != 0; });
    return counts;
}

void PcHistogram::Add(const PcHistogram& more) {
    for (const Count& count : more.Counts()) Add(count.address, count.samples);
    other += more.other;
    sleeping += more.sleeping;
    prohibited += more.prohibited;
}

PcHistogram& PcHistograms::Begin(uint64_t place) {
    if (!parts.empty()) {
        parts.back().histogram.Pack();
        bytes += parts.back().histogram.Bytes();
    }
    parts.push_back({place >> shift, PcHistogram()});
    while (bytes > kMostBytes && parts.size() > 2) Double();
    return parts.back().histogram;
}

void PcHistograms::Double() {
    ++shift;
    std::deque<Part> before = std::exchange(parts, {});
    bytes = 0;
    for (Part& one : before) {
        one.number /= 2;
        if (!parts.empty() && parts.back().number == one.number) {
            parts.back().histogram.Add(one.histogram);
        } else {
            if (!parts.empty()) {
                parts.back().histogram.Pack();
                bytes += parts.back().histogram.Bytes();
            }
            parts.push_back(std::move(one));
        }
    }
}

PcHistograms::Stretch PcHistograms::Sum(uint64_t from, uint64_t to, PcHistogram& all) const {
    const uint64_t first = (from >> shift) + (from << (64 - shift) == 0 ? 0 : 1);
    const uint64_t last = to >> shift;
    if (first >= last) return {from, from};
    for (const Part& one : parts) {
        if (one.number >= first && one.number < last) all.Add(one.histogram);
    }
    return {first << shift, last << shift};
}

}  // namespace Korr::Plim::Trace::Swo
