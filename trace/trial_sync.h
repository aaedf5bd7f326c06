#pragma once

#include <algorithm>
#include <span>

#include "trace/known_packets.h"
#include "trace/packet_reader.h"

/// \file
/// Finding the beginning of a packet without a synchronisation packet: by what stands behind it.
/// TrialSearch does so where nothing is known; here it is questioned whether a packet is one.

namespace Korr::Plim::Trace::Swo {

/// So many packets in a row that are known, or of any assigned kind, show that the first one begins a packet.
inline constexpr unsigned kKnownInARow = 24;
inline constexpr unsigned kAssignedInARow = 64;
/// So many known ones are enough up to a synchronisation packet or to the end of the stream.
inline constexpr unsigned kKnownBeforeAnchor = 8;
/// Nothing behind this many bytes is looked at.
inline constexpr size_t kLookahead = 512;
/// So many unknown packets of the next kKnownInARow make a reading doubtful.
inline constexpr unsigned kDoubtful = 4;
/// When more headers than these, of 256, are known, known ones in a row show nothing.
inline constexpr size_t kTellingHeaders = 96;
/// A rival of a packet begins at most this far behind it.
inline constexpr size_t kRivals = 8;

/// The bytes from some place on, as far as they have come. Nothing is read behind them.
struct Ahead {
    std::span<const uint8_t> bytes;
    bool last;  ///< the stream ends with them
};

enum class Verdict : uint8_t { No, Yes, Undecided };  ///< Undecided: more bytes are needed

/// As much of the bytes as is looked at.
inline std::span<const uint8_t> Seen(const Ahead& ahead) {
    return ahead.bytes.first(std::min(ahead.bytes.size(), kLookahead));
}
/// What it means that they have ended. \param enough what was read up to there shows a beginning
inline Verdict AtEnd(const Ahead& ahead, bool enough) {
    if (ahead.bytes.size() >= kLookahead) return Verdict::No;
    if (!ahead.last) return Verdict::Undecided;
    return enough ? Verdict::Yes : Verdict::No;
}

/// Whether a later beginning than the first of these bytes, where an unknown packet stands, is the better
/// one: what is read from here on is no packet soon, or has many unknown ones, and from `rival` on there are
/// only known packets, none of which begins where one does that is read from here on. In recordings of very
/// many kinds of packets there is no telling.
Verdict HasRival(const Ahead& ahead, const HeaderTable& table, const KnownPackets& known, size_t& rival);

/// Whether the first of these bytes, a page packet that is unknown, is none: the ports written behind it are
/// all known on the page before it, `page`, and there is no other page packet. A page that is taken wrongly
/// would stay wrong.
Verdict IsFalsePage(const Ahead& ahead, const HeaderTable& table, const KnownPackets& known, uint8_t page);

}  // namespace Korr::Plim::Trace::Swo
