#pragma once

#include <map>

#include "trace/summary_cells.h"
#include "trace/window_bandwidth.h"

namespace Korr::Plim::Trace::Swo {

/// What an exception did in a stretch of the axis.
struct ExceptionShare {
    uint32_t entries = 0;
    double active = 0;  ///< share of the stretch, 0 to 1: it ran, or others above it
    double self = 0;    ///< the same: it ran itself
    uint8_t depth = 0;
};

/// Collects what a window shows in columns, out of summaries of stretches. Of each track the stretches come
/// in their order and do not overlap; of exceptions in any order.
class WindowColumns {
  public:
    explicit WindowColumns(const WindowFrame& window) : frame(window), bandwidth(window) {}

    const WindowFrame& Frame() const { return frame; }
    WindowBandwidth& Bandwidth() { return bandwidth; }
    /// \param begin, end of the stretch, on the axis; the same for an event
    void Add(const Track& track, double begin, double end, const ValueCell& cell);
    /// Text: bytes and lines. PC: samples and those asleep. Counters: how often, and 0.
    void Add(const Track& track, double begin, double end, uint32_t count, uint32_t more);
    /// Number 0: what ran is not known.
    void AddException(uint16_t number, double begin, double end, const ExceptionShare& share);
    WindowAnswer Take();

  private:
    struct ValueColumn {
        uint32_t count = 0;  ///< its part of them
        ValueCell content;
    };
    struct CountColumn {
        uint32_t count = 0;
        uint32_t more = 0;
    };
    template <class Column>
    struct Columns {
        /// The stretches come in their order: a column that is there is the last one.
        Column& At(uint32_t number) {
            if (column.empty() || column.back() < number) {
                column.push_back(static_cast<uint16_t>(number));
                content.emplace_back();
            }
            return content.back();
        }
        std::vector<uint16_t> column;
        std::vector<Column> content;
    };
    struct ExceptionColumn {
        uint32_t entries = 0;
        float active = 0;  ///< shares of the column
        float self = 0;
        uint8_t depth = 0;
    };

    std::vector<NamedArray> ValueArrays(const Track& track, Columns<ValueColumn>& list) const;
    static std::vector<NamedArray> CountArrays(const Track& track, Columns<CountColumn>& list);
    std::vector<NamedArray> ExceptionArrays(const std::vector<ExceptionColumn>& list) const;
    std::vector<NamedArray> NestingArrays() const;

    const WindowFrame& frame;
    WindowBandwidth bandwidth;
    std::map<size_t, Columns<ValueColumn>> values;  ///< by row of the track
    std::map<size_t, Columns<CountColumn>> counts;
    std::map<uint16_t, std::vector<ExceptionColumn>> exceptions;  ///< by number, all columns
};

}  // namespace Korr::Plim::Trace::Swo
