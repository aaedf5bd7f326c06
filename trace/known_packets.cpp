#include "trace/known_packets.h"

#include <algorithm>

namespace Korr::Plim::Trace::Swo {

KnownPackets::KnownPackets() {
    constexpr uint64_t kAllButUnknown = ~uint64_t{1} << kUnknown;
    follows[kNone] = {kAllButUnknown, ~uint64_t{0}, ~uint64_t{0}, ~uint64_t{0}};
    follows[kUnordered] = follows[kNone];
    for (auto& row : follows) row[kUnordered >> 6] |= uint64_t{1} << (kUnordered & 63);
}

uint8_t KnownPackets::TakeIn(uint16_t signature) {
    Settle();
    const uint8_t from = previous;
    const uint8_t to = numbers[signature];
    bool hint = packets - lastNews > kSettled;
    previous = to;
    if (to == kUnknown) {
        const auto end = fresh.begin() + static_cast<std::ptrdiff_t>(freshCount);
        const bool seen =
            std::any_of(fresh.begin(), end, [&](const Fresh& one) { return one.signature == signature; });
        if (seen || freshCount == fresh.size()) return 0;
        if (Believe(signature, hint)) fresh[freshCount++] = {signature, packets};
        return hint ? kKindHint : 0;
    }
    if (from == kNone || from == kUnordered || to == kUnordered || pairCount == pairs.size()) return 0;
    if ((follows[from][to >> 6] >> (to & 63) & 1) != 0) return 0;
    hint = hint && hasSuccessor[from] && hasPredecessor[to];
    if (Believe(kPair | static_cast<uint32_t>(from) << 8 | to, hint)) LearnPair(from, to);
    return hint ? kOrderHint : 0;
}

/// Whether something new is believed. \param hint whether it is worth one; taken back when it comes again
bool KnownPackets::Believe(uint32_t what, bool& hint) {
    int times = 0;
    uint64_t last = 0;
    for (size_t i = 0; i < sightingCount; ++i) {
        if (sightings[i].what != what) continue;
        ++times;
        last = sightings[i].packets;
    }
    const uint64_t since = packets - last;
    if (times > 0 && since < kApart) {
        hint = false;
        return false;  // the same hole
    }
    lastNews = packets;
    const bool again = times > 0 && (since <= kSoon || times + 1 >= kOften);
    const bool believed = again || (times == 0 && packets - lastLearning <= kSettled);
    if (again) hint = false;
    if (believed || sightingCount == sightings.size()) {
        lastLearning = packets;
        return true;
    }
    sightings[sightingCount++] = {packets, what};
    return false;
}

void KnownPackets::Damage() {
    Settle();
    freshCount = 0;
    previous = kNone;
}

void KnownPackets::Settle() {
    size_t kept = 0;
    for (size_t i = 0; i < freshCount; ++i) {
        if (packets - fresh[i].since >= kProbation) {
            Learn(fresh[i].signature);
        } else {
            fresh[kept++] = fresh[i];
        }
    }
    freshCount = kept;
}

void KnownPackets::Learn(uint16_t signature) {
    known[knownCount++] = signature;
    numbers[signature] = static_cast<uint8_t>(std::min<size_t>(knownCount, kUnordered));
    if (signature < kExceptionSignatures) onAnyPage.set(signature & 0xFF);
}

void KnownPackets::LearnPair(uint8_t from, uint8_t to) {
    follows[from][to >> 6] |= uint64_t{1} << (to & 63);
    hasSuccessor.set(from);
    hasPredecessor.set(to);
    pairs[pairCount++] = static_cast<uint16_t>(from << 8 | to);
}

KnownPackets::Mark KnownPackets::Now() const {
    Mark mark{};
    mark.packets = packets;
    mark.known = static_cast<uint16_t>(knownCount);
    mark.pairs = static_cast<uint16_t>(pairCount);
    mark.sightings = static_cast<uint16_t>(sightingCount);
    mark.sinceLearning = static_cast<uint16_t>(std::min(packets - lastLearning, kSettled + 1));
    mark.sinceNews = static_cast<uint16_t>(std::min(packets - lastNews, kSettled + 1));
    mark.previous = previous;
    mark.fresh = static_cast<uint8_t>(freshCount);
    for (size_t i = 0; i < freshCount; ++i) {
        mark.freshSignature[i] = fresh[i].signature;
        mark.freshAge[i] = static_cast<uint8_t>(std::min(packets - fresh[i].since, kProbation));
    }
    return mark;
}

void KnownPackets::Rewind(const Mark& mark, const KnownPackets& later) {
    KnownPackets then;
    for (size_t i = 0; i < mark.known; ++i) then.Learn(later.known[i]);
    for (size_t i = 0; i < mark.pairs; ++i) {
        then.LearnPair(static_cast<uint8_t>(later.pairs[i] >> 8), static_cast<uint8_t>(later.pairs[i]));
    }
    then.sightingCount = mark.sightings;
    std::copy_n(later.sightings.begin(), mark.sightings, then.sightings.begin());
    then.packets = mark.packets;
    then.lastNews = then.packets - mark.sinceNews;
    then.lastLearning = then.packets - mark.sinceLearning;
    then.previous = mark.previous;
    then.freshCount = mark.fresh;
    for (size_t i = 0; i < mark.fresh; ++i) {
        then.fresh[i] = {mark.freshSignature[i], then.packets - mark.freshAge[i]};
    }
    *this = then;
}

}  // namespace Korr::Plim::Trace::Swo
