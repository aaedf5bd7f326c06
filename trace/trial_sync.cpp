#include "trace/trial_sync.h"

#include <algorithm>
#include <bitset>

namespace Korr::Plim::Trace::Swo {
namespace {

/// Reads packet after packet, without knowing the stimulus page.
class Walk {
  public:
    enum class Found : uint8_t { Packet, Sync, Broken, End };

    Walk(const Ahead& ahead, const HeaderTable& headers, size_t from)
        : bytes(ahead.bytes.first(std::min(ahead.bytes.size(), kLookahead))), table(headers), place(from) {}

    size_t Place() const { return place; }
    const Reading& Last() const { return reading; }

    /// Reads what stands at Place and goes behind it.
    Found Next() {
        if (place >= bytes.size()) return Found::End;
        if (bytes[place] == 0) return Zeros();
        reading = Read();
        if (place + reading.packet.length > bytes.size()) return Found::End;
        if (IsDamage(reading.packet.kind)) return Found::Broken;
        place += reading.packet.length;
        return Found::Packet;
    }

  private:
    Found Zeros() {
        const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(place);
        const auto end = std::find_if(begin, bytes.end(), [](uint8_t byte) { return byte != 0; });
        if (end == bytes.end()) return Found::End;
        const auto zeros = static_cast<size_t>(end - begin);
        if (*end != kLastOfSync || zeros < kFewestZeros) return Found::Broken;
        place += zeros + 1;
        return Found::Sync;
    }

    Reading Read() const {
        const size_t left = bytes.size() - place;
        if (left >= kReadable) return ReadPacket(&bytes[place], table, 0);
        std::array<uint8_t, kReadable> padded{};
        std::copy_n(&bytes[place], left, padded.begin());
        return ReadPacket(padded.data(), table, 0);
    }

    std::span<const uint8_t> bytes;
    const HeaderTable& table;
    size_t place;
    Reading reading{};
};

/// What it means that the bytes have ended.
Verdict AtEnd(const Ahead& ahead, bool enough) {
    if (ahead.bytes.size() >= kLookahead) return Verdict::No;
    if (!ahead.last) return Verdict::Undecided;
    return enough ? Verdict::Yes : Verdict::No;
}

using Places = std::bitset<kLookahead>;

/// Where the packets begin that are read from the first byte on.
Places Beginnings(const Ahead& ahead, const HeaderTable& table) {
    Places places;
    Walk walk(ahead, table, 0);
    do {
        if (walk.Place() < places.size()) places.set(walk.Place());
    } while (walk.Next() <= Walk::Found::Sync);
    return places;
}

Verdict IsRival(const Ahead& ahead, const HeaderTable& table, const KnownPackets& known,
                const Places& beginnings, size_t from) {
    Walk walk(ahead, table, from);
    for (unsigned inARow = 0; inARow < kKnownInARow; ++inARow) {
        if (walk.Place() < beginnings.size() && beginnings[walk.Place()]) return Verdict::No;
        switch (walk.Next()) {
            case Walk::Found::End:
                return AtEnd(ahead, false);
            case Walk::Found::Broken:
                return Verdict::No;
            case Walk::Found::Sync:
                return inARow >= kKnownBeforeAnchor ? Verdict::Yes : Verdict::No;
            case Walk::Found::Packet:
                if (!known.KnowsOnAnyPage(walk.Last().signature)) return Verdict::No;
        }
    }
    return Verdict::Yes;
}

}  // namespace

Verdict BeginsPacket(const Ahead& ahead, const HeaderTable& table, const KnownPackets& known) {
    Walk walk(ahead, table, 0);
    bool allKnown = true;
    for (unsigned inARow = 0; inARow < kAssignedInARow; ++inARow) {
        if (allKnown && inARow >= kKnownInARow) return Verdict::Yes;
        const bool enough = allKnown && inARow >= kKnownBeforeAnchor;
        switch (walk.Next()) {
            case Walk::Found::End:
                return AtEnd(ahead, enough);
            case Walk::Found::Broken:
                return Verdict::No;
            case Walk::Found::Sync:
                return enough || inARow == 0 ? Verdict::Yes : Verdict::No;
            case Walk::Found::Packet:
                if (known.KnowsOnAnyPage(walk.Last().signature)) break;
                if (!IsAssigned(walk.Last().packet.kind)) return Verdict::No;
                allKnown = false;
        }
    }
    return Verdict::Yes;
}

Verdict HasRival(const Ahead& ahead, const HeaderTable& table, const KnownPackets& known, size_t& rival) {
    if (known.Empty()) return Verdict::No;
    const Places beginnings = Beginnings(ahead, table);
    for (rival = 1; rival <= kRivals; ++rival) {
        const Verdict verdict = IsRival(ahead, table, known, beginnings, rival);
        if (verdict != Verdict::No) return verdict;
    }
    return Verdict::No;
}

}  // namespace Korr::Plim::Trace::Swo
