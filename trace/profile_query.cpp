#include "trace/profile_query.h"

namespace Korr::Plim::Trace::Swo {

namespace {

struct Samples {
    bool OnPacket(const Packet& packet, const PacketTime&, const Standing& standing) {
        const uint64_t position = standing.Position(timed);
        if (standing.place >= to || position >= end) return false;
        if (standing.place < from || position < begin || (packet.flags & kSuspect) != 0) return true;
        if (packet.kind == PacketKind::PcSample) {
            all.Add(packet.value);
            if (tell) tell(position, position, {packet.value, 1});
        }
        if (packet.kind == PacketKind::PcSleep) ++all.sleeping;
        if (packet.kind == PacketKind::PcProhibited) ++all.prohibited;
        return true;
    }
    PcHistogram& all;
    const ProfileQuery::Tell& tell;
    bool timed;
    uint64_t begin;  ///< position
    uint64_t end;
    uint64_t from;  ///< place
    uint64_t to;
};

}  // namespace

ProfileQuery::ProfileQuery(const RecordingIndex& index, uint64_t first, uint64_t last, bool overTime)
    : begin(first), end(last), timed(index.Timed()) {
    const RecordingSummaries& summaries = index.Summaries();
    const auto some = summaries.BlocksOf(first, last);
    const auto whole = summaries.WholeBlocksOf(first, last, index.EndPosition());
    const bool toTheEnd = last >= index.EndPosition();
    const uint64_t behind = toTheEnd ? UINT64_MAX : summaries.PlaceOf(some.to);
    const uint64_t start = summaries.PlaceOf(some.from);
    if (overTime && std::min(behind, index.Analysis().Bytes()) <= start + kMostOverTime) {
        AddEdge(index, start, behind);
        return;
    }
    const uint64_t wholeTo = toTheEnd ? UINT64_MAX : summaries.PlaceOf(whole.to);
    const PcHistograms::Stretch summed =
        summaries.Histograms().Sum(summaries.PlaceOf(whole.from), wholeTo, all);
    const auto position = [&](uint64_t place) {
        const uint64_t block = std::min<uint64_t>(place / summaries.BlockBytes(), summaries.Blocks());
        return summaries.BeginOf(static_cast<uint32_t>(block), index.EndPosition());
    };
    if (overTime) {
        summaries.Histograms().ForEachIn(summed, [&](uint64_t from, uint64_t to, const PcHistogram& part) {
            parts.push_back({position(from), position(to), part.Counts()});
        });
    }
    AddEdge(index, start, summed.from);
    AddEdge(index, summed.to, behind);
}

void ProfileQuery::AddEdge(const RecordingIndex& index, uint64_t from, uint64_t to) {
    if (from >= to || !index.Summaries().HasPc(from, to)) return;
    edges.push_back({index.PlanFrom(from), from, to});
}

PcHistogram ProfileQuery::Answer(const CaptureBytes& bytes, const Tell& tell) {
    for (const Part& part : parts) {
        for (const PcHistogram::Count& count : part.counts) {
            if (tell) tell(part.begin, part.end, count);
        }
    }
    for (const Edge& edge : edges) {
        Samples samples{all, tell, timed, begin, end, edge.from, edge.to};
        const Replay<Samples> replay(edge.plan, bytes, samples);
    }
    return std::move(all);
}

}  // namespace Korr::Plim::Trace::Swo
