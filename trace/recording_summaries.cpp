#include "trace/recording_summaries.h"

#include <algorithm>
#include <utility>

#include "trace/ordered_value.h"
#include "trace/text_lines.h"

namespace Korr::Plim::Trace::Swo {

namespace {

/// Kinds of packets that are losses.
constexpr bool IsLoss(PacketKind kind) { return kind == PacketKind::Overflow || IsDamage(kind); }

}  // namespace

RecordingSummaries::RecordingSummaries(const PortFormats& ports, size_t budget) : mostBytes(budget) {
    for (const auto& [number, format] : ports) {
        Port& port = portStates[number];
        port.given = true;
        port.type = format.type;
        port.holds = format.type == PortType::Text ? Port::Holds::Text : Port::Holds::Numbers;
    }
}

void RecordingSummaries::OnOther(const Packet& packet, const Standing& standing) {
    place = standing.place;
    if (packet.kind == PacketKind::Overflow) current->overflows = AddUpTo(current->overflows, 1);
    if (IsDamage(packet.kind)) current->damage = AddUpTo(current->damage, 1);
    if (packet.kind != PacketKind::Exception && !IsLoss(packet.kind)) return TellTracks(packet, *this);
    exceptions.OnPacket(packet, standing.Position(inTicks));
    if (packet.kind != PacketKind::Exception) return;
    ++totals[track_row::kNesting];
    if (packet.source != 0) ++totals[track_row::kException + packet.source % kExceptions];
}

/// Up to the one that holds a place: very many where no packets came. What is active goes on in the next
/// block.
void RecordingSummaries::BeginBlocks(const Standing& standing) {
    constexpr size_t kBetweenLooks = 1024;
    while (begins.size() <= BlockOf(standing.place)) {
        if (begins.size() % kBetweenLooks == kBetweenLooks - 1 && Bytes() > mostBytes) Halve();
        if (!begins.empty()) exceptions.Settle(inTicks ? standing.ticks : PlaceOf(now + 1));
        BeginBlock(standing.ticks);
    }
    current = &bandwidth.At(now);
}

void RecordingSummaries::BeginBlock(uint64_t ticks) {
    now = static_cast<uint32_t>(begins.size());
    begins.push_back(ticks);
    nextBlock = PlaceOf(now + 1);
    TakePadding();
}

void RecordingSummaries::BecomeTimed() {
    inTicks = true;
    exceptions.Rebase(0);
    for (auto& track : exceptionCells) {
        if (track) track->ForAll([](ExceptionCell& cell) { cell.active = cell.self = 0; });
    }
}

void RecordingSummaries::OnPadding(uint64_t from, uint64_t bytes) {
    if (bytes == 0) return;
    AddPadding(from, bytes);
    TakePadding();
}

void RecordingSummaries::AddPadding(uint64_t at, uint64_t bytes) {
    if (!padding.empty() && BlockOf(padding.back().at) == BlockOf(at)) {
        padding.back().bytes += bytes;
    } else {
        padding.push_back({at, bytes});
    }
}

/// Puts the padding of blocks that have begun into the last one: packets are held back, so that it comes a
/// little before them.
void RecordingSummaries::TakePadding() {
    while (!padding.empty() && BlockOf(padding.front().at) < begins.size()) {
        BandwidthCell& cell = bandwidth.At(now);
        const uint64_t bytes = std::min<uint64_t>(padding.front().bytes, UINT32_MAX);
        cell.padding = AddUpTo(cell.padding, static_cast<uint32_t>(bytes));
        padding.pop_front();
    }
}

void RecordingSummaries::Finish(const Standing& last, uint64_t bytes) {
    if (bytes > 0) BeginBlocks({std::max(last.place, bytes - 1), last.ticks});
    exceptions.Settle(inTicks ? last.ticks + 1 : bytes);
}

uint16_t RecordingSummaries::OpenLine(size_t port, uint32_t block) const {
    if (!texts[port]) return portStates[port].lines.Open();
    const std::deque<TextCell>& cells = texts[port]->Base();
    const auto cell =
        std::lower_bound(cells.begin(), cells.end(), block,
                         [](const TextCell& one, uint32_t wanted) { return one.block < wanted; });
    return cell == cells.end() ? portStates[port].lines.Open() : cell->open;
}

void RecordingSummaries::OnPort(const Packet& packet) {
    Port& port = portStates[packet.source % kPorts];
    ++port.total;
    if (port.holds == Port::Holds::Text) return AddText(port, packet);
    if (!port.given) port.look.Widen(packet.size);
    if (port.holds == Port::Holds::Undecided) {
        Look(port, packet);
        if (port.holds != Port::Holds::Numbers) AddText(port, packet);
    }
    if (port.holds != Port::Holds::Text) AddNumber(port, packet);
}

/// As long as a port is not decided it has both.
void RecordingSummaries::Look(Port& port, const Packet& packet) {
    port.look.OnPacket(packet);
    if (!port.look.Decided()) return;
    const bool text = port.look.Type() == PortType::Text;
    port.holds = text ? Port::Holds::Text : Port::Holds::Numbers;
    const size_t number = packet.source % kPorts;
    if (text) {
        values[number].reset();
    } else {
        texts[number].reset();
    }
}

void RecordingSummaries::AddNumber(const Port& port, const Packet& packet) {
    if (suspect) return;
    const auto value = OrderedOf(packet, port.type);
    if (value) CellOf(values[packet.source % kPorts]).Add(*value);
}

void RecordingSummaries::AddText(Port& port, const Packet& packet) {
    const TextBytes text = Swo::TextOf(packet);
    TextCell& cell = CellOf(texts[packet.source % kPorts]);
    if (cell.bytes == 0) cell.open = port.lines.Open();
    cell.bytes = AddUpTo(cell.bytes, text.count);
    for (size_t i = 0; i < text.count; ++i) {
        if (port.lines.Take(text.bytes[i]).begins) cell.lines = AddUpTo(cell.lines, 1);
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
    CellOf(values[kPorts + row - track_row::kWatch]).Add(packet.value);
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

uint64_t RecordingSummaries::PacketsOf(const Track& track) const {
    if (track.kind == TrackKind::Bandwidth) return packets;
    if (track.kind == TrackKind::Port) return portStates[track.number % kPorts].total;
    return totals[RowOf(track)];
}

TrackTypes RecordingSummaries::Types() const {
    TrackTypes types;
    for (size_t number = 0; number < kPorts; ++number) {
        const Port& port = portStates[number];
        types.ports[number] = port.given ? port.type : port.look.Type();
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
    uint64_t sum = 0;
    bandwidth.ForEach(0, from, to,
                      [&](const BandwidthCell& cell, uint32_t, uint32_t) { sum += cell.packets; });
    return sum;
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
    const uint64_t blocks = padding.empty() ? begins.size() : BlockOf(padding.back().at) + uint64_t{1};
    if (blocks < kFewestBlocks) return;
    ++shift;
    for (const Padding& one : std::exchange(padding, {})) AddPadding(one.at, one.bytes);
    for (size_t i = 0; 2 * i < begins.size(); ++i) begins[i] = begins[2 * i];
    begins.resize((begins.size() + 1) / 2);
    now /= 2;
    nextBlock = begins.empty() ? 0 : PlaceOf(now + 1);
    ForEachTrack([](auto& track) { track.Halve(); });
    if (!begins.empty()) current = &bandwidth.At(now);
}

size_t RecordingSummaries::Bytes() const {
    size_t bytes =
        begins.capacity() * sizeof(begins.front()) + padding.size() * sizeof(Padding) + histograms.Bytes();
    const_cast<RecordingSummaries*>(this)->ForEachTrack([&](const auto& track) { bytes += track.Bytes(); });
    return bytes;
}

}  // namespace Korr::Plim::Trace::Swo
