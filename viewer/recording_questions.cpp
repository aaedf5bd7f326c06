#include "viewer/recording_questions.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "trace/profile_query.h"
#include "trace/window_marks.h"
#include "trace/window_query.h"
#include "viewer/json_text.h"
#include "viewer/window_encoding.h"

namespace Korr::Plim::Trace::Viewer {

namespace {

void CheckStretch(double from, double to) {
    if (!std::isfinite(from) || !std::isfinite(to) || !std::isfinite(to - from)) {
        throw BadQuestion("from and to must be numbers");
    }
    if (from >= to) throw BadQuestion("to must be behind from");
}

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

std::string AddressText(uint32_t address) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%08x", address);
    return text.data();
}

struct ProfileRow {
    std::string name;
    uint32_t address = 0;
    uint64_t samples = 0;
};

std::vector<ProfileRow> RowsOf(const Swo::PcHistogram& samples, const Symbols::ElfSymbols* symbols,
                               bool byFunction) {
    std::map<uint32_t, ProfileRow> rows;
    for (const auto& [pc, count] : samples.Counts()) {
        const Symbols::Symbol* const function = symbols == nullptr ? nullptr : symbols->FunctionAt(pc);
        const uint32_t address = byFunction && function != nullptr ? function->address : pc;
        ProfileRow& row = rows[address];
        row.address = address;
        row.samples += count;
        row.name = function == nullptr ? AddressText(pc)
                   : byFunction        ? function->name
                                       : function->name + "+" + std::to_string(pc - function->address);
    }
    std::vector<ProfileRow> sorted;
    for (auto& [address, row] : rows) sorted.push_back(std::move(row));
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const ProfileRow& a, const ProfileRow& b) { return a.samples > b.samples; });
    return sorted;
}

}  // namespace

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

std::string RecordingQuestions::Profile(const ProfileQuestion& question, Hold& hold) const {
    CheckStretch(question.from, question.to);
    Swo::ProfileQuery query(index, axis.PositionAt(question.from), axis.PositionAt(question.to));
    hold.unlock();
    const Swo::PcHistogram samples = query.Answer(bytes);
    const std::vector<ProfileRow> rows = RowsOf(samples, settings.symbols.get(), question.byFunction);
    uint64_t all = samples.Other();
    uint64_t other = samples.Other();
    Json list = Json::array();
    for (const ProfileRow& row : rows) {
        all += row.samples;
        if (list.size() < kMostRows) {
            list.push_back({{"name", row.name}, {"address", row.address}, {"samples", row.samples}});
        } else {
            other += row.samples;
        }
    }
    return TextOf({{"revision", revision},
                   {"samples", all},
                   {"sleeping", samples.sleeping},
                   {"prohibited", samples.prohibited},
                   {"other", other},
                   {"rows", std::move(list)}});
}

}  // namespace Korr::Plim::Trace::Viewer
