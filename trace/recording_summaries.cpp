#include "trace/recording_summaries.h"

#include <algorithm>

#include "trace/ordered_value.h"
#include "trace/text_lines.h"

namespace Korr::Plim::Trace::Swo {

RecordingSummaries::RecordingSummaries(const PortFormats& ports) : given(ports), exceptions(*this) {}

void RecordingSummaries::OnPacket(const Packet& packet, const Standing& standing, bool timed) {
    if (timed && !inTicks) BecomeTimed();
    const uint32_t block = BlockOf(standing.place);
    if (block >= begins.size()) BeginBlocks(block, standing);
    now = static_cast<uint32_t>(begins.size() - 1);
    suspect = (packet.flags & kSuspect) != 0;
    place = standing.place;
    BandwidthCell& all = bandwidth.At(now);
    all.packets = AddUpTo(all.packets, 1);
    ++totals[track_row::kBandwidth];
    if (packet.kind == PacketKind::Overflow) all.overflows = AddUpTo(all.overflows, 1);
    if (IsDamage(packet.kind)) all.damage = AddUpTo(all.damage, 1);
    exceptions.OnPacket(packet, standing.Position(inTicks));
    if (packet.kind == PacketKind::Exception) {
        ++totals[track_row::kNesting];
        if (packet.source != 0) ++totals[RowOf({TrackKind::Exception, packet.source})];
    }
    TellTracks(packet, *this);
}

/// What is active goes on in the next block.
void RecordingSummaries::BeginBlocks(uint32_t block, const Standing& standing) {
    while (begins.size() <= block) {
        if (!begins.empty()) {
            now = static_cast<uint32_t>(begins.size() - 1);
            exceptions.Settle(inTicks ? standing.ticks : PlaceOf(now + 1));
        }
        begins.push_back(standing.ticks);
        TakePadding();
    }
}

/// The first timestamp has come: until then no tick has passed.
void RecordingSummaries::BecomeTimed() {
    inTicks = true;
    exceptions.Rebase(0);
    for (auto& track : exceptionCells) {
        if (track) track->ForAll([](ExceptionCell& cell) { cell.active = cell.self = 0; });
    }
}

void RecordingSummaries::OnPadding(uint64_t from, uint64_t bytes) {
    if (bytes == 0) return;
    padding.push_back({from, static_cast<uint32_t>(std::min<uint64_t>(bytes, UINT32_MAX))});
    TakePadding();
}

/// Puts the padding of blocks that have begun into the last one: packets are held back, so that it comes a
/// little before them.
void RecordingSummaries::TakePadding() {
    while (!padding.empty() && BlockOf(padding.front().at) < begins.size()) {
        BandwidthCell& cell = bandwidth.At(static_cast<uint32_t>(begins.size() - 1));
        cell.padding = AddUpTo(cell.padding, padding.front().bytes);
        padding.pop_front();
    }
}

void RecordingSummaries::Finish(const Standing& last, uint64_t bytes) {
    if (bytes > 0) BeginBlocks(BlockOf(bytes - 1), last);
    exceptions.Settle(inTicks ? last.ticks : bytes);
}

uint16_t RecordingSummaries::OpenLine(size_t port, uint32_t block) const {
    if (!texts[port]) return lines[port].Open();
    const std::deque<TextCell>& cells = texts[port]->Base();
    const auto cell =
        std::lower_bound(cells.begin(), cells.end(), block,
                         [](const TextCell& one, uint32_t wanted) { return one.block < wanted; });
    return cell == cells.end() ? lines[port].Open() : cell->open;
}

void RecordingSummaries::OnPort(const Packet& packet) {
    const size_t port = packet.source % kPorts;
    ++totals[RowOf({TrackKind::Port, packet.source})];
    PortLook& look = looks[port];
    const auto format = given.find(static_cast<uint8_t>(port));
    if (format == given.end() && !look.Decided()) {
        look.OnPacket(packet);
        if (look.Decided() && look.Type() == PortType::Text) values[port].reset();
        if (look.Decided() && look.Type() != PortType::Text) texts[port].reset();
    } else if (format == given.end()) {
        look.OnPacket(packet);
    }
    const bool open = format == given.end() && !look.Decided();
    const PortType type = format != given.end() ? format->second.type : look.Type();
    if (type == PortType::Text || open) AddText(packet);
    if (suspect || (type == PortType::Text && !open)) return;
    const auto value = OrderedOf(packet, type == PortType::Text ? PortType::U32 : type);
    if (value) CellOf(values[port]).Fold(ValueCell::Of(*value));
}

void RecordingSummaries::AddText(const Packet& packet) {
    const size_t port = packet.source % kPorts;
    const TextBytes text = Swo::TextOf(packet);
    LineSplitter& splitter = lines[port];
    TextCell& cell = CellOf(texts[port]);
    if (cell.bytes == 0) cell.open = splitter.Open();
    cell.bytes = AddUpTo(cell.bytes, text.count);
    for (size_t i = 0; i < text.count; ++i) {
        if (splitter.Take(text.bytes[i]).begins) cell.lines = AddUpTo(cell.lines, 1);
    }
}

void RecordingSummaries::OnValue(const Track& track, const Packet& packet) {
    const size_t row = RowOf(track);
    ++totals[row];
    if (track.kind == TrackKind::WatchRead || track.kind == TrackKind::WatchWrite) {
        uint8_t& most = widest[2 * track.number + (track.kind == TrackKind::WatchWrite ? 1 : 0)];
        most = std::max(most, packet.size);
    }
    if (suspect) return;
    CellOf(values[kPorts + row - track_row::kWatch]).Fold(ValueCell::Of(packet.value));
}

void RecordingSummaries::OnCount(const Track& track) {
    ++totals[RowOf(track)];
    if (suspect) return;
    CountCell& cell = CellOf(counts[track.number % kCounters]);
    cell.count = AddUpTo(cell.count, 1);
}

void RecordingSummaries::OnPc(const Packet& packet) {
    ++totals[track_row::kPc];
    if (suspect) return;
    PcHistogram& histogram = histograms.At(place);
    PcCell& cell = pc.At(now);
    if (packet.kind == PacketKind::PcSample) {
        cell.samples = AddUpTo(cell.samples, 1);
        histogram.Add(packet.value);
    } else if (packet.kind == PacketKind::PcSleep) {
        cell.sleeping = AddUpTo(cell.sleeping, 1);
        ++histogram.sleeping;
    } else {
        ++histogram.prohibited;
    }
}

void RecordingSummaries::OnRun(const ExceptionRun& run) {
    if ((run.flags & kNothingKnown) == 0) ExceptionAt(run.number).active += run.end - run.begin;
}

void RecordingSummaries::OnTop(uint16_t number, uint16_t depth, uint64_t begin, uint64_t end) {
    ExceptionCell& cell = ExceptionAt(number);
    cell.self += end - begin;
    cell.depth = std::max(cell.depth, static_cast<uint8_t>(std::min<uint16_t>(depth, UINT8_MAX)));
}

TrackTypes RecordingSummaries::Types() const {
    TrackTypes types;
    for (size_t port = 0; port < kPorts; ++port) {
        const auto format = given.find(static_cast<uint8_t>(port));
        types.ports[port] = format != given.end() ? format->second.type : looks[port].Type();
    }
    for (size_t i = 0; i < widest.size(); ++i) types.watches[i] = UnsignedOf(widest[i]);
    return types;
}

uint64_t RecordingSummaries::BeginOf(uint32_t block, uint64_t end) const {
    if (!inTicks) return std::min(end, PlaceOf(block));
    return block < begins.size() ? begins[block] : end;
}

RecordingSummaries::BlockRange RecordingSummaries::BlocksOf(uint64_t first, uint64_t last) const {
    const auto number = [this](auto block) { return static_cast<uint32_t>(block - begins.begin()); };
    const auto to = inTicks ? number(std::lower_bound(begins.begin(), begins.end(), last))
                            : static_cast<uint32_t>(std::min<uint64_t>(
                                  begins.size(), (last >> shift) + ((last & (BlockBytes() - 1)) != 0)));
    uint32_t from = inTicks ? number(std::lower_bound(begins.begin(), begins.end(), first))
                            : static_cast<uint32_t>(std::min<uint64_t>(begins.size(), first >> shift));
    if (inTicks && from > 0) --from;  // whose last packets can be that late
    return {std::min(from, to), to};
}

RecordingSummaries::BlockRange RecordingSummaries::WholeBlocksOf(uint64_t first, uint64_t last,
                                                                 uint64_t end) const {
    BlockRange blocks = BlocksOf(first, last);
    while (blocks.from < blocks.to && BeginOf(blocks.from, end) < first) ++blocks.from;
    // A block's last packet may be at the position where the next one begins.
    const uint64_t behind = inTicks ? last - std::min<uint64_t>(last, 1) : last;
    while (blocks.from < blocks.to && last < end && BeginOf(blocks.to, end) > behind) --blocks.to;
    return blocks;
}

bool RecordingSummaries::HasPc(uint64_t from, uint64_t to) const {
    if (from >= PlaceOf(Blocks())) return false;
    bool has = false;
    const uint32_t last = to > PlaceOf(Blocks()) ? Blocks() : BlockOf(to - 1) + 1;
    pc.ForEach(0, BlockOf(from), last, [&has](const PcCell&, uint32_t, uint32_t) { has = true; });
    return has;
}

uint64_t RecordingSummaries::PacketsIn(uint32_t from, uint32_t to) const {
    uint64_t packets = 0;
    bandwidth.ForEach(0, from, to,
                      [&](const BandwidthCell& cell, uint32_t, uint32_t) { packets += cell.packets; });
    return packets;
}

template <class Work>
void RecordingSummaries::ForEachTrack(Work&& work) {
    work(bandwidth);
    work(pc);
    const auto all = [&work](auto& tracks) {
        for (auto& track : tracks) {
            if (track) work(*track);
        }
    };
    all(values), all(texts), all(counts), all(exceptionCells);
}

void RecordingSummaries::Halve() {
    ++shift;
    for (size_t i = 0; 2 * i < begins.size(); ++i) begins[i] = begins[2 * i];
    begins.resize((begins.size() + 1) / 2);
    now /= 2;
    ForEachTrack([](auto& track) { track.Halve(); });
}

size_t RecordingSummaries::Bytes() const {
    size_t bytes =
        begins.capacity() * sizeof(begins.front()) + padding.size() * sizeof(Padding) + histograms.Bytes();
    const_cast<RecordingSummaries*>(this)->ForEachTrack([&](const auto& track) { bytes += track.Bytes(); });
    return bytes;
}

}  // namespace Korr::Plim::Trace::Swo
