#pragma once

#include <array>
#include <bitset>
#include <cstdint>

#include "trace/packet_reader.h"

namespace Korr::Plim::Trace::Swo {

/// What a recording has shown so far: which packets it consists of (by signature: kind, source and size), and
/// which of them follow each other. Only packets count that 64 more without damage came after; what was seen
/// shortly before damage is forgotten. When there was nothing new for a long time, what is new is not
/// believed at first sight, for it may have been read across a hole: it has to come again soon, or often.
/// Fixed size, about 28 KiB; the class allocates nothing.
///
/// It grows only at its end. So the state at an earlier place of the stream is a prefix of what it is now,
/// and Mark and Rewind go back to it.
class KnownPackets {
  public:
    /// A packet of this signature becomes known that many packets after the first one.
    static constexpr uint64_t kProbation = 64;
    /// News after so many packets without any are worth a hint.
    static constexpr uint64_t kSettled = 256;
    /// What is not believed at first sight is when it comes again behind kApart to kSoon packets, or for the
    /// kOften-th time.
    static constexpr uint64_t kApart = 24;
    static constexpr uint64_t kSoon = 1024;
    static constexpr int kOften = 8;
    static constexpr size_t kMostFresh = 8;
    static constexpr size_t kMostPairs = 4096;
    static constexpr size_t kMostSightings = 512;  ///< more are believed at once

    /// Where it stood at some place. 48 bytes.
    struct Mark {
        uint64_t packets;
        uint16_t known;
        uint16_t pairs;
        uint16_t sightings;
        uint16_t sinceNews;      ///< packets, at most kSettled + 1
        uint16_t sinceLearning;  ///< the same
        uint8_t previous;
        uint8_t fresh;
        std::array<uint16_t, kMostFresh> freshSignature;
        std::array<uint8_t, kMostFresh> freshAge;  ///< packets, at most kProbation
    };

    static_assert(sizeof(Mark) == 48);

    KnownPackets();

    bool Empty() const { return knownCount == 0; }
    /// How many different first bytes the known packets have, exceptions apart.
    size_t Headers() const { return onAnyPage.count(); }
    /// The hot path: counts a packet and tells whether it is known and known to follow the last one.
    bool Follows(uint16_t signature) {
        ++packets;
        const uint8_t number = numbers[signature];
        const bool usual = (follows[previous][number >> 6] >> (number & 63) & 1) != 0;
        if (usual) previous = number;
        return usual;
    }
    bool Knows(uint16_t signature) const { return numbers[signature] != kUnknown; }
    /// On whatever stimulus page.
    bool KnowsOnAnyPage(uint16_t signature) const {
        return signature < kExceptionSignatures ? onAnyPage[signature & 0xFF] : Knows(signature);
    }

    /// Takes in the packet that Follows has refused. Returns kKindHint, kOrderHint or 0.
    uint8_t TakeIn(uint16_t signature);
    /// Forgets that Follows was asked: the packet is no longer part of the stream, or will be read again.
    void TakeBack() { --packets; }
    /// Packets that have no usual place: nothing is learnt from what comes before and after them.
    void Interrupt() { previous = kNone; }
    /// Damage: what is still on probation is forgotten.
    void Damage();
    /// Lets those become known whose probation is over.
    void Settle();

    Mark Now() const;
    /// Back to an earlier state, from what `later`, of the same stream, has learnt up to then and after.
    void Rewind(const Mark& mark, const KnownPackets& later);

  private:
    static constexpr uint8_t kUnknown = 0;
    static constexpr uint8_t kNone = 0;         ///< no packet before: everything may follow
    static constexpr uint8_t kUnordered = 255;  ///< known, but too many are: its order is not looked at
    struct Fresh {
        uint16_t signature;
        uint64_t since;
    };

    /// Something new that was seen and not believed.
    struct Sighting {
        uint64_t packets;  ///< by then
        uint32_t what;     ///< a signature, or a pair and kPair
    };
    static constexpr uint32_t kPair = 0x10000;

    bool Believe(uint32_t what, bool& hint);
    void Learn(uint16_t signature);
    void LearnPair(uint8_t from, uint8_t to);

    std::array<uint8_t, kSignatures> numbers{};  ///< in the order of learning
    std::array<std::array<uint64_t, 4>, 256> follows{};
    std::bitset<256> onAnyPage;
    std::bitset<256> hasPredecessor;
    std::bitset<256> hasSuccessor;
    uint64_t packets = 0;
    uint64_t lastNews = 0;      ///< believed or not
    uint64_t lastLearning = 0;  ///< when something new was believed
    uint8_t previous = kNone;
    size_t freshCount = 0;
    std::array<Fresh, kMostFresh> fresh{};
    size_t knownCount = 0;
    std::array<uint16_t, kSignatures> known{};
    size_t pairCount = 0;
    std::array<uint16_t, kMostPairs> pairs{};
    size_t sightingCount = 0;
    std::array<Sighting, kMostSightings> sightings{};
};

}  // namespace Korr::Plim::Trace::Swo
