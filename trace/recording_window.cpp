// What a window shows of whole blocks.
#include "trace/recording_summaries.h"

namespace Korr::Plim::Trace::Swo {

namespace {

/// The coarsest level of which a cell is no wider than a column, as far as blocks are of the same time.
int LevelFor(uint32_t blocks, uint32_t pixels) {
    int level = 0;
    for (uint64_t width = 8; level + 1 < CellTrack<CountCell>::kLevels && width * pixels <= blocks;
         width *= 8) {
        ++level;
    }
    return level;
}

/// The cells that show a window, and when they begin and end.
class WindowCells {
  public:
    WindowCells(const RecordingSummaries& recording, const WindowFrame& frame, uint64_t behind)
        : summaries(recording),
          axis(frame.axis),
          end(behind),
          blocks(recording.BlocksOf(frame.first, frame.last)),
          level(LevelFor(blocks.to - blocks.from, frame.pixels)) {}
    const RecordingSummaries::BlockRange& Blocks() const { return blocks; }
    uint64_t Position(uint64_t block) const {
        return summaries.BeginOf(static_cast<uint32_t>(std::min<uint64_t>(block, summaries.Blocks())), end);
    }
    double At(uint64_t block) const { return axis.At(Position(block)); }
    /// Calls add(begin, end, cell, position of the beginning, of the end) with the track's cells.
    template <class Track, class Add>
    void ForEach(const Track& track, Add&& add) const {
        track.ForEach(level, blocks.from, blocks.to, [&](const auto& cell, uint32_t first, uint32_t count) {
            const uint64_t begin = Position(first);
            const uint64_t behind = Position(uint64_t{first} + count);
            add(axis.At(begin), axis.At(behind), cell, behind - begin);
        });
    }
    uint32_t Step() const {
        return uint32_t{1} << CellTrack<CountCell>::kLevelShift * static_cast<unsigned>(level);
    }

  private:
    const RecordingSummaries& summaries;
    const RecordingAxis& axis;
    uint64_t end;
    RecordingSummaries::BlockRange blocks;
    int level;
};

}  // namespace

void RecordingSummaries::Show(WindowColumns& columns, uint64_t end, uint64_t bytes) const {
    const WindowFrame& frame = columns.Frame();
    const WindowCells cells(*this, frame, end);
    if (cells.Blocks().from >= cells.Blocks().to) return;
    const uint32_t step = cells.Step();
    for (uint32_t first = cells.Blocks().from / step * step; first < cells.Blocks().to; first += step) {
        const uint64_t from = std::min(PlaceOf(first), bytes);
        const uint64_t behind = std::min(PlaceOf(first) + uint64_t{step} * BlockBytes(), bytes);
        columns.Bandwidth().Add(cells.At(first), cells.At(uint64_t{first} + step),
                                static_cast<double>(behind - from), 0, 0, 0);
    }
    cells.ForEach(bandwidth, [&](double from, double to, const BandwidthCell& cell, uint64_t) {
        columns.Bandwidth().Add(from, to, 0, cell.padding, cell.overflows, cell.damage);
    });
    for (size_t i = 0; i < values.size(); ++i) {
        const Track track = TrackAt(i < kPorts ? track_row::kPort + i : track_row::kWatch + i - kPorts);
        if (!values[i] || !frame.Wants(track) || (i < kPorts && frame.types.IsText(i))) continue;
        cells.ForEach(*values[i], [&](double from, double to, const ValueCell& cell, uint64_t) {
            columns.Add(track, from, to, cell);
        });
    }
    ShowCounts(columns, cells);
    if (!frame.WantsExceptions()) return;
    for (uint16_t i = 0; i < kExceptions; ++i) {
        if (!exceptionCells[i]) continue;
        cells.ForEach(*exceptionCells[i],
                      [&](double from, double to, const ExceptionCell& cell, uint64_t width) {
                          const double whole = width == 0 ? 1 : static_cast<double>(width);
                          columns.AddException(i, from, to,
                                               {cell.entries, static_cast<double>(cell.active) / whole,
                                                static_cast<double>(cell.self) / whole, cell.depth});
                      });
    }
}

template <class Cells>
void RecordingSummaries::ShowCounts(WindowColumns& columns, const Cells& cells) const {
    const WindowFrame& frame = columns.Frame();
    for (size_t i = 0; i < texts.size(); ++i) {
        const Track track{TrackKind::Port, static_cast<uint16_t>(i)};
        if (!texts[i] || !frame.Wants(track) || !frame.types.IsText(i)) continue;
        cells.ForEach(*texts[i], [&](double from, double to, const TextCell& cell, uint64_t) {
            columns.Add(track, from, to, cell.bytes, cell.lines);
        });
    }
    for (size_t i = 0; i < counts.size(); ++i) {
        const Track track{TrackKind::Counter, static_cast<uint16_t>(i)};
        if (!counts[i] || !frame.Wants(track)) continue;
        cells.ForEach(*counts[i], [&](double from, double to, const CountCell& cell, uint64_t) {
            columns.Add(track, from, to, cell.count, 0);
        });
    }
    if (!frame.Wants({TrackKind::Pc, 0})) return;
    cells.ForEach(pc, [&](double from, double to, const PcCell& cell, uint64_t) {
        columns.Add({TrackKind::Pc, 0}, from, to, cell.samples, cell.sleeping);
    });
}

}  // namespace Korr::Plim::Trace::Swo
