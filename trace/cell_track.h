#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>

namespace Korr::Plim::Trace::Swo {

/// Summaries of one track, see summary_cells.h: of every block that has any, and of eight, 64, 512 and 4,096
/// blocks together. Grows at its end.
template <class Cell>
class CellTrack {
  public:
    CellTrack() = default;
    CellTrack(const CellTrack&) = delete;
    CellTrack& operator=(const CellTrack&) = delete;

    static constexpr int kLevels = 5;
    static constexpr unsigned kLevelShift = 3;  ///< of one level to the next

    /// The cell of a block; no block before the last one.
    Cell& At(uint32_t block) {
        if (last != nullptr && last->block == block) return *last;
        return Begin(block);
    }
    /// Calls visit(cell, first, count) with cells of a level that together tell all of the blocks [from, to),
    /// and may tell more: a cell is of `count` blocks from `first` on. They come in their order and do not
    /// overlap; what is not summed up yet comes last, in cells of lower levels.
    template <class Visit>
    void ForEach(int level, uint32_t from, uint32_t to, Visit&& visit) const {
        const unsigned shift = kLevelShift * static_cast<unsigned>(level);
        const std::deque<Cell>& cells = levels[static_cast<size_t>(level)];
        for (auto cell = LowerBound(cells, from >> shift); cell != cells.end(); ++cell) {
            if (uint64_t{cell->block} << shift >= to) break;
            Tell(level, *cell, from, to, visit);
        }
        for (int below = level - 1; below >= 0; --below) {
            const std::deque<Cell>& open = levels[static_cast<size_t>(below)];
            if (!open.empty()) Tell(below, open.back(), from, to, visit);
        }
    }
    /// Of every block that has any.
    const std::deque<Cell>& Base() const { return levels[0]; }
    const std::deque<Cell>& Level(int level) const { return levels[static_cast<size_t>(level)]; }

    /// From now on a block is what two were.
    void Halve() {
        std::deque<Cell> before = std::move(levels[0]);
        for (std::deque<Cell>& level : levels) level.clear();
        last = nullptr;
        while (!before.empty()) {
            Cell cell = before.front();
            before.pop_front();
            cell.block /= 2;
            std::deque<Cell>& base = levels[0];
            if (!base.empty() && base.back().block == cell.block) {
                base.back().Fold(cell);
            } else {
                At(cell.block) = cell;
            }
        }
    }
    /// Calls change(cell) with all cells of all levels.
    template <class Change>
    void ForAll(Change&& change) {
        for (std::deque<Cell>& level : levels) {
            for (Cell& cell : level) change(cell);
        }
    }
    size_t Bytes() const {
        size_t cells = 0;
        for (const std::deque<Cell>& level : levels) cells += level.size();
        constexpr size_t kOfALevel = 640;  // of an empty list
        return sizeof(*this) + levels.size() * kOfALevel + cells * sizeof(Cell);
    }

  private:
    /// A cell at the end has nothing of the blocks that are open in the level below.
    template <class Visit>
    void Tell(int level, const Cell& cell, uint32_t from, uint32_t to, Visit& visit) const {
        const unsigned shift = kLevelShift * static_cast<unsigned>(level);
        const uint64_t first = uint64_t{cell.block} << shift;
        uint64_t behind = first + (uint64_t{1} << shift);
        if (level > 0) {
            const auto below = static_cast<size_t>(level - 1);
            const uint64_t open = uint64_t{levels[below].back().block} << (shift - kLevelShift);
            if (open > first) behind = std::min(behind, open);
        }
        if (first >= to || behind <= from) return;
        visit(cell, static_cast<uint32_t>(first), static_cast<uint32_t>(behind - first));
    }
    Cell& Begin(uint32_t block) {
        std::deque<Cell>& base = levels[0];
        if (!base.empty()) Carry(0);
        base.emplace_back();
        last = &base.back();
        last->block = block;
        return *last;
    }
    static auto LowerBound(const std::deque<Cell>& cells, uint32_t block) {
        return std::lower_bound(cells.begin(), cells.end(), block,
                                [](const Cell& cell, uint32_t wanted) { return cell.block < wanted; });
    }
    /// The last cell of a level will not change any more: sums it up in the one above.
    void Carry(size_t level) {
        if (level + 1 == levels.size()) return;
        Cell closed = levels[level].back();
        closed.block >>= kLevelShift;
        std::deque<Cell>& above = levels[level + 1];
        if (!above.empty() && above.back().block == closed.block) return above.back().Fold(closed);
        if (!above.empty()) Carry(level + 1);
        above.push_back(closed);
    }

    Cell* last = nullptr;  ///< of the base; a deque's end does not move
    std::array<std::deque<Cell>, kLevels> levels;
};

}  // namespace Korr::Plim::Trace::Swo
