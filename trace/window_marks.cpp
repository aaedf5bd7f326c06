#include "trace/window_marks.h"

#include <algorithm>

#include "trace/summary_cells.h"

namespace Korr::Plim::Trace::Swo {

namespace {

struct Mark {
    double time = 0;
    double end = 0;
    double offset = 0;
    uint8_t lossClass = 0;
    bool hint = true;
    uint32_t count = 0;  ///< 0: there is none
    uint32_t entry = kNotListed;
};

void Fold(Mark& mark, const Mark& more) {
    // A loss stands for the hints beside it.
    if (mark.count == 0 || (mark.hint && !more.hint)) {
        const uint32_t before = mark.count;
        const double end = mark.end;
        mark = more;
        mark.count = AddUpTo(before, more.count);
        mark.end = std::max(end, more.end);
        return;
    }
    mark.count = AddUpTo(mark.count, more.count);
    mark.end = std::max(mark.end, more.end);
}

template <class Field>
auto Gather(const std::vector<Mark>& marks, Field&& field) {
    std::vector<decltype(field(marks.front()))> all;
    for (const Mark& mark : marks) {
        if (mark.count > 0) all.push_back(field(mark));
    }
    return all;
}

}  // namespace

double TimeOf(const LedgerEntry& entry, const RecordingAxis& axis, bool timed) {
    return axis.At(timed ? entry.ticks : entry.offset);
}

std::vector<NamedArray> MarksOf(const Ledger& ledger, const WindowFrame& frame,
                                const std::function<double(uint64_t)>& timeOf) {
    std::vector<Mark> marks(size_t{frame.pixels} * kLossClasses);
    const auto add = [&](const Mark& mark) {
        if (mark.time >= frame.to || mark.time < frame.from) return;
        Fold(marks[size_t{frame.Column(mark.time)} * kLossClasses + mark.lossClass], mark);
    };
    const std::vector<LedgerEntry>& entries = ledger.Entries();
    for (size_t i = 0; i < entries.size(); ++i) {
        const LedgerEntry& entry = entries[i];
        const double time = TimeOf(entry, frame.axis, frame.timed);
        const double end = frame.timed ? time : frame.axis.At(entry.offset + entry.length);
        add({time, std::max(time, end), static_cast<double>(entry.offset),
             static_cast<uint8_t>(entry.lossClass), entry.hint, std::max(1U, entry.count),
             static_cast<uint32_t>(i)});
    }
    for (const LedgerBlock& block : ledger.Unlisted()) {
        const double time = timeOf(block.offset);
        for (uint8_t lossClass = 0; lossClass < kLossClasses; ++lossClass) {
            const uint64_t certain = block.certain[lossClass];
            const uint64_t places = certain + block.hints[lossClass];
            if (places == 0) continue;
            add({time, time, static_cast<double>(block.offset), lossClass, certain == 0,
                 static_cast<uint32_t>(std::min<uint64_t>(places, UINT32_MAX)), kNotListed});
        }
    }
    std::vector<NamedArray> arrays;
    arrays.push_back({"time", Gather(marks, [](const Mark& mark) { return mark.time; })});
    arrays.push_back({"end", Gather(marks, [](const Mark& mark) { return mark.end; })});
    arrays.push_back({"offset", Gather(marks, [](const Mark& mark) { return mark.offset; })});
    arrays.push_back({"class", Gather(marks, [](const Mark& mark) { return mark.lossClass; })});
    arrays.push_back({"hint", Gather(marks, [](const Mark& mark) { return uint8_t{mark.hint}; })});
    arrays.push_back({"count", Gather(marks, [](const Mark& mark) { return mark.count; })});
    arrays.push_back({"entry", Gather(marks, [](const Mark& mark) { return mark.entry; })});
    return arrays;
}

}  // namespace Korr::Plim::Trace::Swo
