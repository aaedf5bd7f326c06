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
    const bool settled = packets - lastNews > kSettled;
    previous = to;
    if (to == kUnknown) {
        const auto end = fresh.begin() + static_cast<std::ptrdiff_t>(freshCount);
        const bool seen =
            std::any_of(fresh.begin(), end, [&](const Fresh& one) { return one.signature == signature; });
        if (seen || freshCount == fresh.size()) return 0;
        fresh[freshCount++] = {signature, packets};
        lastNews = packets;
        return settled ? kKindHint : 0;
    }
    if (from == kNone || from == kUnordered || to == kUnordered || pairCount == pairs.size()) return 0;
    if ((follows[from][to >> 6] >> (to & 63) & 1) != 0) return 0;
    const bool odd = settled && hasSuccessor[from] && hasPredecessor[to];
    LearnPair(from, to);
    lastNews = packets;
    return odd ? kOrderHint : 0;
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
    mark.known = static_cast<uint16_t>(knownCount);
    mark.pairs = static_cast<uint16_t>(pairCount);
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
    then.packets = kSettled + 1;
    then.lastNews = then.packets - mark.sinceNews;
    then.previous = mark.previous;
    then.freshCount = mark.fresh;
    for (size_t i = 0; i < mark.fresh; ++i) {
        then.fresh[i] = {mark.freshSignature[i], then.packets - mark.freshAge[i]};
    }
    *this = then;
}

}  // namespace Korr::Plim::Trace::Swo
