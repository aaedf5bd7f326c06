#pragma once

#include <memory>
#include <vector>

#include "trace/cell_track.h"
#include "trace/exception_runs.h"
#include "trace/line_splitter.h"
#include "trace/pc_histogram.h"
#include "trace/port_look.h"
#include "trace/summary_cells.h"
#include "trace/window_columns.h"

namespace Korr::Plim::Trace::Swo {

/// What every block of a capture shows on every track, and when the blocks begin. Takes packets in their
/// order, from the first one on.
class RecordingSummaries {
  public:
    static constexpr unsigned kBlockShift =
        14;  ///< a block is 16 KiB of the capture, as long as memory lasts

    /// \param ports as the user gives them; the others are guessed \param budget bytes of memory: blocks
    /// become wider where very many begin at once
    explicit RecordingSummaries(const PortFormats& ports, size_t budget = SIZE_MAX);

    void OnPacket(const Packet& packet, const Standing& standing) {
        if (standing.place >= nextBlock) BeginBlocks(standing);
        ++current->packets;
        ++packets;
        if (packet.kind == PacketKind::LocalTime) return;
        suspect = (packet.flags & kSuspect) != 0;
        if (packet.kind == PacketKind::Stimulus) return OnPort(packet);
        OnOther(packet, standing);
    }
    /// From now on positions are ticks, and those of earlier packets were. What is known of the times of
    /// exceptions so far is forgotten.
    void BecomeTimed();
    /// Bytes of the null stream behind a place of the capture, up to the next place that is told.
    void OnPadding(uint64_t from, uint64_t bytes);
    /// Nothing is held back before this position. The last block goes on.
    void Settle(uint64_t position) { exceptions.Settle(position); }
    /// There are no more packets. \param last where the last one stands \param bytes of the capture
    void Finish(const Standing& last, uint64_t bytes);
    /// A block is from now on what two were, unless there are few. Memory is about halved.
    void Halve();

    uint64_t BlockBytes() const { return uint64_t{1} << shift; }
    uint32_t Blocks() const { return static_cast<uint32_t>(begins.size()); }
    uint32_t BlockOf(uint64_t offset) const { return static_cast<uint32_t>(offset >> shift); }
    uint64_t PlaceOf(uint32_t block) const { return uint64_t{block} << shift; }
    /// The position at which a block begins; of a block behind the last one `end`.
    uint64_t BeginOf(uint32_t block, uint64_t end) const;
    /// All blocks that can hold packets at positions [first, last): [from, to).
    struct BlockRange {
        uint32_t from;
        uint32_t to;
    };
    BlockRange BlocksOf(uint64_t first, uint64_t last) const;
    /// Blocks all of whose packets are at such positions. \param end position behind everything
    BlockRange WholeBlocksOf(uint64_t first, uint64_t last, uint64_t end) const;
    /// Packets in blocks [from, to).
    uint64_t PacketsIn(uint32_t from, uint32_t to) const;
    /// Packets that a track has in all; of bandwidth all.
    uint64_t PacketsOf(const Track& track) const;
    TrackTypes Types() const;
    ExceptionStack Stack() const { return exceptions.Stack(); }
    const CellTrack<TextCell>* TextOf(size_t port) const { return texts[port].get(); }
    /// Whether there are samples of the PC between two places, or may be.
    bool HasPc(uint64_t from, uint64_t to) const;
    const PcHistograms& Histograms() const { return histograms; }
    /// Fills in what a window shows of whole blocks. \param end position behind everything \param bytes of
    /// the capture
    void Show(WindowColumns& columns, uint64_t end, uint64_t bytes) const;
    /// The port's line that is open where a block begins: how many bytes of it have come; 0: none is.
    uint16_t OpenLine(size_t port, uint32_t block) const;
    size_t Bytes() const;

    // From TellTracks and ExceptionRuns.
    void OnPort(const Packet& packet);
    void OnValue(const Track& track, const Packet& packet);
    void OnCount(const Track& track);
    void OnPc(const Packet& packet);
    void OnRun(const ExceptionRun& run);
    void OnTop(uint16_t number, uint16_t depth, uint64_t begin, uint64_t end);
    void OnEntry(uint16_t number) { ++ExceptionAt(number).entries; }

  private:
    template <class Cell>
    using TrackOf = std::unique_ptr<CellTrack<Cell>>;

    template <class Cells>
    void ShowCounts(WindowColumns& columns, const Cells& cells) const;
    struct Port {
        enum class Holds : uint8_t { Undecided, Text, Numbers };
        Holds holds = Holds::Undecided;
        bool given = false;  ///< the type, by the user
        PortType type = PortType::U32;
        PortLook look;
        LineSplitter lines;
        uint64_t total = 0;
    };

    void BeginBlocks(const Standing& standing);
    void BeginBlock(uint64_t ticks);
    void OnOther(const Packet& packet, const Standing& standing);
    void TakePadding();
    void AddPadding(uint64_t at, uint64_t bytes);
    void Look(Port& port, const Packet& packet);
    void AddText(Port& port, const Packet& packet);
    void AddNumber(const Port& port, const Packet& packet);
    template <class Cell>
    Cell& CellOf(TrackOf<Cell>& track) {
        if (!track) track = std::make_unique<CellTrack<Cell>>();
        return track->At(now);
    }
    ExceptionCell& ExceptionAt(uint16_t number) { return CellOf(exceptionCells[number % kExceptions]); }
    template <class Work>
    void ForEachTrack(Work&& work);

    /// Fewer blocks are not made wider, however little memory there may be.
    static constexpr uint32_t kFewestBlocks = 64;

    const size_t mostBytes;  ///< of memory
    unsigned shift = kBlockShift;
    bool inTicks = false;
    std::vector<uint64_t> begins;      ///< ticks of each block's beginning
    uint32_t now = 0;                  ///< the block of the packet at hand
    uint64_t nextBlock = 0;            ///< place
    BandwidthCell* current = nullptr;  ///< of that block, once it has begun
    bool suspect = false;              ///< the packet at hand
    uint64_t place = 0;                ///< its
    uint64_t packets = 0;
    struct Padding {
        uint64_t at;  ///< place
        uint64_t bytes;
    };
    std::deque<Padding> padding;  ///< in blocks that have not begun, one for each
    std::array<uint64_t, kTracks> totals{};
    std::array<Port, kPorts> portStates;
    std::array<uint8_t, 2 * kComparators> widest{};  ///< bytes of a data watch's values
    ExceptionRuns<RecordingSummaries> exceptions{*this};
    CellTrack<BandwidthCell> bandwidth;
    CellTrack<PcCell> pc;
    PcHistograms histograms;
    std::array<TrackOf<ValueCell>, kPorts + 4 * kComparators> values;  ///< ports, then watches by row
    std::array<TrackOf<TextCell>, kPorts> texts;
    std::array<TrackOf<CountCell>, kCounters> counts;
    std::array<TrackOf<ExceptionCell>, kExceptions> exceptionCells;  ///< of 0: nothing was known
};

}  // namespace Korr::Plim::Trace::Swo
