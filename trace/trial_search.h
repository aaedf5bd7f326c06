#pragma once

#include <array>
#include <optional>

#include "trace/trial_sync.h"

namespace Korr::Plim::Trace::Swo {

/// Looks, from byte to byte, for the beginning of a packet: 24 known packets in a row, 64 of any assigned
/// kind, or 8 known ones up to a synchronisation packet or the end of the stream. Courses that are read from
/// different places soon run into one another, so each place is read once, and what follows from it is kept:
/// a search takes time in proportion to its bytes. Fixed size, 8 KiB; allocates nothing.
class TrialSearch {
  public:
    /// A new search: nothing that was read before is of use.
    void Begin() { courses.fill({}); }
    /// Whether a packet begins at the first of these bytes, which is not zero and stands at `offset`. Offsets
    /// grow from call to call, and nothing becomes known in between.
    Verdict Look(const Ahead& ahead, uint64_t offset, const HeaderTable& table, const KnownPackets& known);

  private:
    enum class Ending : uint8_t {
        Open,    ///< not known yet
        Broken,  ///< no packet begins there, or one without a meaning that is not known
        Zeros,   ///< perhaps a synchronisation packet
    };
    /// What is read from some place on.
    struct Course {
        uint64_t offset = 0;  ///< of the place
        uint16_t bytes = 0;   ///< up to the ending
        uint8_t packets = 0;  ///< up to the ending
        uint8_t known = 0;    ///< of those, in a row from the first one on
        Ending ending = Ending::Open;
    };
    /// Packets from a place up to one whose course is known.
    struct Path {
        unsigned packets = 0;
        std::array<uint16_t, kAssignedInARow> places;
        std::array<bool, kAssignedInARow> known;
        size_t end = 0;
        Course rest;  ///< from the end on
    };

    std::optional<Verdict> Follow(const Ahead& ahead, uint64_t offset, const HeaderTable& table,
                                  const KnownPackets& known, Path& path);
    Course KnownFrom(uint64_t offset) const;
    Course Keep(const Path& path, uint64_t offset);
    static Verdict Judge(const Ahead& ahead, const Course& course);

    /// No packet that is looked at begins further on.
    static constexpr size_t kPlaces = 512;
    static_assert(kPlaces > kAssignedInARow * kLongestPacket);
    std::array<Course, kPlaces> courses{};  ///< by offset, of the last ones
};

}  // namespace Korr::Plim::Trace::Swo
