#include "viewer/recording_questions.h"

#include <algorithm>
#include <cmath>

#include "trace/window_marks.h"
#include "trace/window_query.h"
#include "viewer/json_text.h"
#include "viewer/window_encoding.h"

namespace Korr::Plim::Trace::Viewer {

namespace {

std::bitset<Swo::kTracks> RowsOf(const std::vector<std::string>& ids) {
    std::bitset<Swo::kTracks> rows;
    if (ids.empty()) return rows.set();
    for (const std::string& id : ids) {
        const auto track = TrackOf(id);
        if (!track) throw BadQuestion("there is no such track");
        rows.set(RowOf(*track));
    }
    return rows;
}

}  // namespace

void CheckStretch(double from, double to) {
    if (!std::isfinite(from) || !std::isfinite(to) || !std::isfinite(to - from)) {
        throw BadQuestion("from and to must be numbers");
    }
    if (from >= to) throw BadQuestion("to must be behind from");
}

uint32_t RecordingQuestions::MostColumns(const std::bitset<Swo::kTracks>& rows) const {
    constexpr size_t kMostCells = 400000;
    constexpr size_t kColumnsAtLeast = 64;
    size_t shown = 1;
    for (size_t row = 0; row < rows.size(); ++row) {
        if (rows[row] && index.PacketsOf(Swo::TrackAt(row)) > 0) ++shown;
    }
    return static_cast<uint32_t>(std::max(kMostCells / shown, kColumnsAtLeast));
}

std::string RecordingQuestions::Window(const WindowQuestion& question, Hold& hold) const {
    CheckStretch(question.from, question.to);
    if (question.pixels < 1 || question.pixels > kMostPixels) {
        throw BadQuestion("pixels must be 1 to " + std::to_string(kMostPixels));
    }
    const Swo::TrackTypes types = index.Summaries().Types();
    const std::bitset<Swo::kTracks> rows = RowsOf(question.tracks);
    const Swo::WindowFrame frame(axis, timed, question.from, question.to,
                                 std::min(question.pixels, MostColumns(rows)), rows, types);
    const uint64_t blockBytes = index.Summaries().BlockBytes();
    Swo::WindowQuery query(index, frame, question.columns);
    hold.unlock();
    return EncodeWindow(query.Answer(bytes), frame, revision, blockBytes);
}

std::string RecordingQuestions::Ledger(uint64_t from, uint32_t count) const {
    if (count < 1 || count > kMostRows) throw BadQuestion("count must be 1 to " + std::to_string(kMostRows));
    const Swo::Ledger& ledger = index.Analysis().Losses();
    const std::vector<Swo::LedgerEntry>& all = ledger.Entries();
    Json entries = Json::array();
    for (uint64_t i = from; i < all.size() && i - from < count; ++i) {
        const Swo::LedgerEntry& entry = all[i];
        entries.push_back({{"index", i},
                           {"offset", entry.offset},
                           {"length", entry.length},
                           {"time", TimeOf(entry, axis, timed)},
                           {"quality", Swo::QualityName(entry.timeQuality)},
                           {"class", Swo::LossClassName(entry.lossClass)},
                           {"kind", Swo::LossKindName(entry.kind)},
                           {"hint", entry.hint},
                           {"count", entry.count},
                           {"text", settings.describe ? settings.describe(entry)
                                                      : std::string(Swo::LossKindName(entry.kind))}});
    }
    return TextOf({{"revision", revision},
                   {"total", all.size()},
                   {"unlisted", ledger.UnlistedPlaces()},
                   {"entries", std::move(entries)}});
}

}  // namespace Korr::Plim::Trace::Viewer
