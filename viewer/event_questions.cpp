// Packets as they are, and where they stand.
#include <algorithm>
#include <bitset>
#include <deque>

#include "viewer/overview.h"
#include "viewer/recording_questions.h"
#include "viewer/window_encoding.h"

namespace Korr::Plim::Trace::Viewer {

namespace {

constexpr uint64_t kBytesOfEvents = uint64_t{8} << 20;  // of the capture, decoded for one answer
constexpr uint64_t kFirstLookBack = uint64_t{64} << 10;
constexpr uint64_t kLastLookBack = uint64_t{4} << 20;

using Kinds = std::bitset<Swo::kPacketKinds>;

Kinds KindsOf(const std::vector<std::string>& names) {
    Kinds kinds;
    if (names.empty()) return kinds.set();
    for (const std::string& name : names) {
        size_t kind = 0;
        while (kind < kinds.size() && Swo::KindName(static_cast<Swo::PacketKind>(kind)) != name) ++kind;
        if (kind == kinds.size()) throw BadQuestion("there is no such kind of packets");
        kinds.set(kind);
    }
    return kinds;
}

/// Collects packets, up to some place or number of them.
struct PacketList {
    bool OnPacket(const Swo::Packet& packet, const Swo::PacketTime& time, const Swo::Standing& standing) {
        const uint64_t position = standing.Position(timed);
        if (position >= last) return false;
        if (position < first || packet.offset < offset) return true;
        const bool wanted = kinds[static_cast<size_t>(packet.kind)];
        if (standing.place >= behind || (wanted && list.time.size() == limit)) {
            list.next = packet.offset;
            return false;
        }
        if (!wanted) return true;
        list.time.push_back(axis.At(position));
        list.offset.push_back(static_cast<double>(packet.offset));
        list.kind.push_back(static_cast<uint8_t>(packet.kind));
        list.source.push_back(packet.source);
        list.size.push_back(packet.size);
        list.value.push_back(static_cast<double>(Swo::ValueOf(packet)));
        list.flags.push_back(Swo::EventFlags(packet, time.quality));
        list.function.push_back(packet.kind == Swo::PacketKind::Exception ? packet.flags & Swo::kKindFlags
                                                                          : 0);
        return true;
    }

    const Swo::RecordingAxis& axis;
    const bool timed;
    const Kinds kinds;
    const uint32_t limit;
    const uint64_t offset;  ///< what stands before it is passed over
    const uint64_t first;   ///< position
    const uint64_t last;    ///< position
    const uint64_t behind;  ///< place
    EventList list;
};

/// Finds the packets beside a place.
struct Neighbours {
    bool OnPacket(const Swo::Packet& packet, const Swo::PacketTime&, const Swo::Standing& standing) {
        const uint64_t position = standing.Position(timed);
        if (packet.offset < offset) {
            before.push_back(position);
            if (before.size() > most) before.pop_front();
            return true;
        }
        if (behind++ <= most) return true;
        end = position;
        return false;
    }

    const bool timed;
    const uint64_t offset;
    const uint32_t most;
    std::deque<uint64_t> before;  ///< positions
    uint32_t behind = 0;
    std::optional<uint64_t> end;  ///< position of the first packet that is too far behind
};

}  // namespace

std::string RecordingQuestions::Events(const EventsQuestion& question, Hold& hold) const {
    CheckStretch(question.from, question.to);
    if (question.limit < 1 || question.limit > kMostEvents) {
        throw BadQuestion("limit must be 1 to " + std::to_string(kMostEvents));
    }
    const Kinds kinds = KindsOf(question.kinds);
    const uint64_t first = axis.PositionAt(question.from);
    const uint64_t last = axis.PositionAt(question.to);
    const Swo::RecordingSummaries& summaries = index.Summaries();
    const uint64_t from = std::max(summaries.PlaceOf(summaries.BlocksOf(first, last).from), question.offset);
    const uint64_t behind = from + std::min(kBytesOfEvents, UINT64_MAX - from);
    PacketList packets{axis, timed, kinds, question.limit, question.offset, first, last, behind, {}};
    const Swo::ReplayPlan plan = index.PlanFrom(from);
    hold.unlock();
    const Swo::Replay<PacketList> replay(plan, bytes, packets);
    return EncodeEvents(std::move(packets.list), question.from, question.to, revision);
}

AxisStretch RecordingQuestions::Around(uint64_t offset, uint32_t packets, Hold& hold) const {
    for (uint64_t back = kFirstLookBack;; back *= 8) {
        const uint64_t from = offset - std::min(offset, back);
        Neighbours found{timed, offset, packets, {}, 0, {}};
        const Swo::ReplayPlan plan = index.PlanFrom(from);
        const double end = EndOf(index, axis);
        hold.unlock();
        const Swo::Replay<Neighbours> replay(plan, bytes, found);
        if (found.before.size() < packets && from > 0 && back < kLastLookBack) {
            hold.lock();
            continue;
        }
        const double begin = found.before.empty() ? 0 : axis.At(found.before.front());
        return {begin, std::max(found.end ? axis.At(*found.end) : end, std::nextafter(begin, INFINITY))};
    }
}

}  // namespace Korr::Plim::Trace::Viewer
