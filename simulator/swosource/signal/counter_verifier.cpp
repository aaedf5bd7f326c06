#include "simulator/swosource/signal/counter_verifier.h"

#include <algorithm>

#include "simulator/swosource/signal/counter_pattern.h"

namespace Korr::Plim::Trace::Simulator {
namespace {

using counter_pattern::ByteAt;
using counter_pattern::kBlockSize;

constexpr size_t kWindow = 2 * kBlockSize;
/// Unsure bytes that are kept; older ones count as changed, so that a garbled stream costs no memory.
constexpr size_t kMostUnsure = 256;

/// The place of the byte at `bytes`, if two blocks in sequence begin there.
bool FindPlace(const uint8_t* bytes, uint64_t& place) {
    uint32_t first = 0;
    uint32_t second = 0;
    if (!counter_pattern::ReadBlock(bytes, first)) return false;
    if (!counter_pattern::ReadBlock(bytes + kBlockSize, second) || second != first + 1) return false;
    place = uint64_t{first} * kBlockSize;
    return true;
}

}  // namespace

void CounterVerifier::Feed(const uint8_t* input, size_t count) {
    bytes += count;
    for (size_t i = 0; i < count; ++i) {
        if (unsure.empty() && input[i] == ByteAt(place)) {
            ++place;
            continue;
        }
        unsure.push_back(input[i]);
        if (unsure.size() >= kWindow) Search();
    }
}

void CounterVerifier::Search() {
    const size_t skipped = unsure.size() - kWindow;
    uint64_t found = 0;
    if (FindPlace(unsure.data() + skipped, found)) {
        Resume(found, skipped);
    } else if (unsure.size() >= kMostUnsure) {
        unsure.erase(unsure.begin());
        ++changed;
        ++place;
    }
}

/// The last window of `unsure` stands at `foundPlace`; the `skipped` bytes before it are explained here.
void CounterVerifier::Resume(uint64_t foundPlace, size_t skipped) {
    const uint64_t expected = place + skipped;
    if (foundPlace > expected) lost += foundPlace - expected;
    if (foundPlace < expected) doubled += expected - foundPlace;
    changed += FewestChanges(foundPlace, skipped);
    ++faults;
    place = foundPlace + kWindow;
    unsure.clear();
}

/// The gap may be anywhere among the skipped bytes: those before it continue the old place, those behind it
/// lead to the found one. The explanation with the fewest changed bytes is taken.
size_t CounterVerifier::FewestChanges(uint64_t foundPlace, size_t skipped) const {
    const auto wrongBehind = [&](size_t i) {
        const uint64_t distance = skipped - i;
        return distance > foundPlace || unsure[i] != ByteAt(foundPlace - distance);
    };
    size_t changes = 0;
    for (size_t i = 0; i < skipped; ++i) changes += wrongBehind(i) ? 1 : 0;
    size_t fewest = changes;
    for (size_t i = 0; i < skipped; ++i) {
        changes += unsure[i] != ByteAt(place + i) ? 1 : 0;
        changes -= wrongBehind(i) ? 1 : 0;
        fewest = std::min(fewest, changes);
    }
    return fewest;
}

void CounterVerifier::Finish() {
    if (unsure.empty()) return;
    changed += unsure.size();
    ++faults;
    unsure.clear();
}

}  // namespace Korr::Plim::Trace::Simulator
