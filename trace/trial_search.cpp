#include "trace/trial_search.h"

#include <algorithm>

#include "trace/packet_walk.h"

namespace Korr::Plim::Trace::Swo {

Verdict TrialSearch::Look(const Ahead& ahead, uint64_t offset, const HeaderTable& table,
                          const KnownPackets& known) {
    Path path;
    if (const auto early = Follow(ahead, offset, table, known, path)) return *early;
    return Judge(ahead, Keep(path, offset));
}

/// Reads packets until they are enough, the bytes end, or the rest of the course is known: then there is no
/// verdict yet.
std::optional<Verdict> TrialSearch::Follow(const Ahead& ahead, uint64_t offset, const HeaderTable& table,
                                           const KnownPackets& known, Path& path) {
    PacketWalk walk(Seen(ahead), table);
    bool allKnown = true;
    while (path.packets < (allKnown ? kKnownInARow : kAssignedInARow)) {
        path.end = walk.Place();
        path.rest = KnownFrom(offset + path.end);
        if (path.rest.ending != Ending::Open) return std::nullopt;
        if (path.end < ahead.bytes.size() && ahead.bytes[path.end] == 0) {
            path.rest.ending = Ending::Zeros;
            return std::nullopt;
        }
        const PacketWalk::Found found = walk.Next();
        if (found == PacketWalk::Found::End) {
            return AtEnd(ahead, allKnown && path.packets >= kKnownBeforeAnchor);
        }
        const Reading& reading = walk.Last();
        const bool broken = found == PacketWalk::Found::Broken;
        const bool isKnown = !broken && known.KnowsOnAnyPage(reading.signature);
        if (broken || (!isKnown && !IsAssigned(reading.packet.kind))) {
            path.rest.ending = Ending::Broken;
            return std::nullopt;
        }
        path.places[path.packets] = static_cast<uint16_t>(path.end);
        path.known[path.packets++] = isKnown;
        allKnown = allKnown && isKnown;
    }
    return Verdict::Yes;
}

TrialSearch::Course TrialSearch::KnownFrom(uint64_t offset) const {
    const Course& course = courses[offset % kPlaces];
    return course.offset == offset ? course : Course{};
}

/// Keeps the course from each place of the path on. Returns that from its beginning.
TrialSearch::Course TrialSearch::Keep(const Path& path, uint64_t offset) {
    Course course = path.rest;
    course.offset = offset + path.end;
    courses[course.offset % kPlaces] = course;
    for (unsigned i = path.packets; i-- > 0;) {
        course.bytes = static_cast<uint16_t>(path.end - path.places[i] + path.rest.bytes);
        ++course.packets;
        course.known = path.known[i] ? static_cast<uint8_t>(course.known + 1) : uint8_t{0};
        course.offset = offset + path.places[i];
        courses[course.offset % kPlaces] = course;
    }
    return course;
}

Verdict TrialSearch::Judge(const Ahead& ahead, const Course& course) {
    if (course.known >= kKnownInARow || course.packets >= kAssignedInARow) return Verdict::Yes;
    if (course.ending == Ending::Broken) return Verdict::No;
    const std::span<const uint8_t> seen = Seen(ahead);
    const bool enough = course.known == course.packets && course.packets >= kKnownBeforeAnchor;
    const auto zeros = seen.begin() + course.bytes;
    const auto behind = std::find_if(zeros, seen.end(), [](uint8_t byte) { return byte != 0; });
    if (behind == seen.end()) return AtEnd(ahead, enough);
    const bool sync = *behind == kLastOfSync && behind - zeros >= static_cast<std::ptrdiff_t>(kFewestZeros);
    return sync && enough ? Verdict::Yes : Verdict::No;
}

}  // namespace Korr::Plim::Trace::Swo
