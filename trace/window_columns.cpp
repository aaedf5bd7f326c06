#include "trace/window_columns.h"

#include <utility>

#include "trace/ordered_value.h"

namespace Korr::Plim::Trace::Swo {

namespace {

/// Cuts a whole number as shares come, so that the parts add up to it.
class WholeShares {
  public:
    explicit WholeShares(uint32_t number) : all(number) {}
    uint32_t Next(double share) {
        sum += share;
        const auto upTo = static_cast<uint32_t>(std::floor(std::min(1.0, sum) * all + 0.5));
        return upTo - std::exchange(given, std::max(given, upTo));
    }

  private:
    uint32_t all;
    double sum = 0;
    uint32_t given = 0;
};

template <class Content, class Field>
auto Gather(const std::vector<Content>& list, Field&& field) {
    std::vector<decltype(field(list.front()))> all;
    all.reserve(list.size());
    for (const Content& one : list) all.push_back(field(one));
    return all;
}

}  // namespace

void WindowColumns::Add(const Track& track, double begin, double end, const ValueCell& cell) {
    if (cell.count == 0) return;
    Columns<ValueColumn>& list = values[RowOf(track)];
    WholeShares shares(cell.count);
    SpreadOver(frame, begin, end, [&](uint32_t column, double share) {
        ValueColumn& all = list.At(column);
        all.count = AddUpTo(all.count, shares.Next(share));
        all.content.Fold(cell);
    });
}

void WindowColumns::Add(const Track& track, double begin, double end, uint32_t count, uint32_t more) {
    Columns<CountColumn>& list = counts[RowOf(track)];
    WholeShares countShares(count);
    WholeShares moreShares(more);
    SpreadOver(frame, begin, end, [&](uint32_t column, double share) {
        const uint32_t part = countShares.Next(share);
        const uint32_t morePart = moreShares.Next(share);
        if (part == 0 && morePart == 0) return;
        CountColumn& all = list.At(column);
        all.count = AddUpTo(all.count, part);
        all.more = AddUpTo(all.more, morePart);
    });
}

void WindowColumns::AddException(uint16_t number, double begin, double end, const ExceptionShare& share) {
    std::vector<ExceptionColumn>& list = exceptions[number];
    if (list.empty()) list.resize(frame.pixels);
    const double width = (frame.to - frame.from) / frame.pixels;
    WholeShares entries(share.entries);
    SpreadOver(frame, begin, end, [&](uint32_t column, double part) {
        ExceptionColumn& all = list[column];
        const double ofColumn = std::min(1.0, part * (end - begin) / width);
        all.entries = AddUpTo(all.entries, entries.Next(part));
        all.active = std::min(1.0F, all.active + static_cast<float>(share.active * ofColumn));
        all.self = std::min(1.0F, all.self + static_cast<float>(share.self * ofColumn));
        if (share.self > 0) all.depth = std::max(all.depth, share.depth);
    });
}

std::vector<NamedArray> WindowColumns::ValueArrays(const Track& track, Columns<ValueColumn>& list) const {
    const PortType type = frame.types.Of(track);
    const auto numbers = [&](uint32_t ValueCell::*field) {
        return Gather(list.content,
                      [&](const ValueColumn& one) { return NumberOfOrdered(one.content.*field, type); });
    };
    std::vector<NamedArray> arrays;
    arrays.push_back({"column", std::move(list.column)});
    arrays.push_back({"count", Gather(list.content, [](const ValueColumn& one) { return one.count; })});
    arrays.push_back({"min", numbers(&ValueCell::min)});
    arrays.push_back({"max", numbers(&ValueCell::max)});
    arrays.push_back({"first", numbers(&ValueCell::first)});
    arrays.push_back({"last", numbers(&ValueCell::last)});
    return arrays;
}

std::vector<NamedArray> WindowColumns::CountArrays(const Track& track, Columns<CountColumn>& list) {
    const bool text = track.kind == TrackKind::Port;
    const bool pc = track.kind == TrackKind::Pc;
    std::vector<NamedArray> arrays;
    arrays.push_back({"column", std::move(list.column)});
    arrays.push_back({text ? "bytes"
                      : pc ? "samples"
                           : "count",
                      Gather(list.content, [](const CountColumn& one) { return one.count; })});
    if (text || pc) {
        arrays.push_back({text ? "lines" : "sleeping",
                          Gather(list.content, [](const CountColumn& one) { return one.more; })});
    }
    return arrays;
}

std::vector<NamedArray> WindowColumns::ExceptionArrays(const std::vector<ExceptionColumn>& list) const {
    std::vector<uint16_t> column;
    std::vector<uint32_t> entries;
    std::vector<float> share;
    for (uint32_t i = 0; i < frame.pixels; ++i) {
        if (list[i].entries == 0 && !(list[i].active > 0)) continue;
        column.push_back(static_cast<uint16_t>(i));
        entries.push_back(list[i].entries);
        share.push_back(list[i].active);
    }
    return {{"column", std::move(column)}, {"entries", std::move(entries)}, {"share", std::move(share)}};
}

std::vector<NamedArray> WindowColumns::NestingArrays() const {
    std::vector<uint16_t> column;
    std::vector<uint16_t> number;
    std::vector<uint8_t> depth;
    std::vector<float> share;
    std::vector<float> unknown;
    for (uint32_t i = 0; i < frame.pixels; ++i) {
        uint16_t longest = 0;
        ExceptionColumn most;
        uint8_t deepest = 0;
        float nothingKnown = 0;
        for (const auto& [which, list] : exceptions) {
            const ExceptionColumn& one = list[i];
            if (which == 0) {
                nothingKnown = one.self;
                continue;
            }
            if (one.self > most.self || (longest == 0 && one.entries > 0)) most = one, longest = which;
            deepest = std::max(deepest, one.depth);
        }
        if (longest == 0 && !(nothingKnown > 0)) continue;
        column.push_back(static_cast<uint16_t>(i));
        number.push_back(longest);
        depth.push_back(deepest);
        share.push_back(most.self);
        unknown.push_back(nothingKnown);
    }
    return {{"column", std::move(column)},
            {"number", std::move(number)},
            {"depth", std::move(depth)},
            {"share", std::move(share)},
            {"unknown", std::move(unknown)}};
}

WindowAnswer WindowColumns::Take() {
    WindowAnswer answer;
    for (size_t row = 0; row < kTracks; ++row) {
        if (!frame.wanted[row]) continue;
        const Track track = TrackAt(row);
        std::vector<NamedArray> arrays;
        if (track.kind == TrackKind::Bandwidth) {
            arrays = bandwidth.Take();
        } else if (track.kind == TrackKind::Nesting && !exceptions.empty()) {
            arrays = NestingArrays();
        } else if (const auto exception = exceptions.find(track.number);
                   track.kind == TrackKind::Exception && exception != exceptions.end() && track.number > 0) {
            arrays = ExceptionArrays(exception->second);
        } else if (const auto value = values.find(row); value != values.end()) {
            arrays = ValueArrays(track, value->second);
        } else if (const auto count = counts.find(row); count != counts.end()) {
            arrays = CountArrays(track, count->second);
        }
        const auto isEmpty = [](const auto& numbers) { return numbers.empty(); };
        if (arrays.empty() || std::visit(isEmpty, arrays.front().data)) continue;
        answer.tracks.push_back({track, std::move(arrays)});
    }
    return answer;
}

}  // namespace Korr::Plim::Trace::Swo
