// Where the processor was.
#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <unordered_map>

#include "trace/profile_query.h"
#include "trace/window_bandwidth.h"
#include "viewer/json_text.h"
#include "viewer/recording_questions.h"

namespace Korr::Plim::Trace::Viewer {

namespace {

constexpr size_t kMostLines = 5000;      // addresses whose source lines are asked for
constexpr size_t kMostInStrips = 20000;  // addresses that are told over time

std::string AddressText(uint32_t address) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%08x", address);
    return text.data();
}

struct ProfileRow {
    std::string name;
    uint32_t address = 0;  ///< of the function, or the lowest one sampled
    uint64_t samples = 0;
};

/// Which row an address belongs to.
class Grouping {
  public:
    Grouping(const RecordingSettings& recording, ProfileBy what) : settings(recording), by(what) {}

    /// Source lines of the addresses that were sampled most. \throws std::runtime_error
    void FindLines(std::vector<Swo::PcHistogram::Count> counts) {
        if (by != ProfileBy::Line || settings.lines == nullptr) return;
        std::stable_sort(counts.begin(), counts.end(),
                         [](const auto& a, const auto& b) { return a.samples > b.samples; });
        counts.resize(std::min(counts.size(), kMostLines));
        std::vector<uint32_t> addresses;
        addresses.reserve(counts.size());
        for (const auto& [address, samples] : counts) addresses.push_back(address);
        lines = settings.lines->LinesOf(addresses);
    }
    /// Its name, and the address that stands for it.
    std::pair<std::string, uint32_t> RowOf(uint32_t pc) const {
        const auto line = lines.find(pc);
        if (line != lines.end()) return {line->second, 0};
        const Symbols::Symbol* const function = settings.symbols ? settings.symbols->FunctionAt(pc) : nullptr;
        if (function == nullptr) return {AddressText(pc), pc};
        if (by != ProfileBy::Address) return {function->name, function->address};
        return {function->name + "+" + std::to_string(pc - function->address), pc};
    }

  private:
    const RecordingSettings& settings;
    const ProfileBy by;
    LineFinder::Lines lines;
};

using Key = std::pair<std::string, uint32_t>;

std::vector<std::pair<Key, ProfileRow>> RowsOf(const Swo::PcHistogram& samples, const Grouping& grouping) {
    std::map<Key, ProfileRow> rows;
    for (const auto& [pc, count] : samples.Counts()) {
        const Key key = grouping.RowOf(pc);
        const auto [row, isNew] =
            rows.try_emplace(key, ProfileRow{key.first, key.second == 0 ? pc : key.second, 0});
        row->second.samples += count;
        if (key.second == 0) row->second.address = std::min(row->second.address, pc);
    }
    std::vector<std::pair<Key, ProfileRow>> sorted(rows.begin(), rows.end());
    std::stable_sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) {
        return a.second.samples != b.second.samples ? a.second.samples > b.second.samples
                                                    : a.second.address < b.second.address;
    });
    return sorted;
}

/// Samples of each address in columns of a stretch of the axis.
class Strip {
  public:
    Strip(const Swo::RecordingAxis& numberLine, bool timed, const ProfileQuestion& question)
        : axis(numberLine),
          frame(numberLine, timed, question.from, question.to, std::max(question.columns, 1U), {}, types) {}

    void Add(uint64_t begin, uint64_t end, const Swo::PcHistogram::Count& count) {
        if (columns.size() == kMostInStrips && columns.count(count.address) == 0) return;
        Swo::SpreadOver(frame, axis.At(begin), axis.At(end), [&](uint32_t column, double share) {
            auto& one = columns[count.address];
            if (one.empty()) one.resize(frame.pixels);
            one[column] += static_cast<float>(share * count.samples);
        });
    }
    /// By row, of the first ones.
    std::vector<std::vector<float>> Rows(const std::vector<std::pair<Key, ProfileRow>>& rows,
                                         const Grouping& grouping) const {
        std::map<Key, size_t> wanted;
        for (size_t i = 0; i < rows.size() && i < kRowsWithStrip; ++i) wanted[rows[i].first] = i;
        std::vector<std::vector<float>> all(wanted.size(), std::vector<float>(frame.pixels));
        for (const auto& [address, counts] : columns) {
            const auto row = wanted.find(grouping.RowOf(address));
            if (row == wanted.end()) continue;
            for (size_t i = 0; i < counts.size(); ++i) all[row->second][i] += counts[i];
        }
        return all;
    }

  private:
    const Swo::RecordingAxis& axis;
    const Swo::TrackTypes types;
    const Swo::WindowFrame frame;
    std::unordered_map<uint32_t, std::vector<float>> columns;
};

}  // namespace

std::string RecordingQuestions::Profile(const ProfileQuestion& question, Hold& hold) const {
    CheckStretch(question.from, question.to);
    if (question.columns > kMostStrip) {
        throw BadQuestion("columns must be at most " + std::to_string(kMostStrip));
    }
    const bool strips = question.columns > 0;
    Swo::ProfileQuery query(index, axis.PositionAt(question.from), axis.PositionAt(question.to), strips);
    hold.unlock();
    Strip strip(axis, timed, question);
    Swo::ProfileQuery::Tell tell;
    if (strips) {
        tell = [&strip](uint64_t begin, uint64_t end, const auto& count) { strip.Add(begin, end, count); };
    }
    const Swo::PcHistogram samples = query.Answer(bytes, tell);
    Grouping grouping(settings, question.by);
    grouping.FindLines(samples.Counts());
    const auto rows = RowsOf(samples, grouping);
    const auto told = strip.Rows(rows, grouping);
    uint64_t all = samples.Other();
    uint64_t other = samples.Other();
    Json list = Json::array();
    for (const auto& [key, row] : rows) {
        all += row.samples;
        if (list.size() >= kMostRows) {
            other += row.samples;
            continue;
        }
        Json object = {{"name", row.name}, {"address", row.address}, {"samples", row.samples}};
        if (strips && list.size() < told.size()) {
            Json columns = Json::array();
            for (const float count : told[list.size()]) {
                columns.push_back(std::round(static_cast<double>(count) * 10) / 10);
            }
            object["strip"] = std::move(columns);
        }
        list.push_back(std::move(object));
    }
    return TextOf({{"revision", revision},
                   {"samples", all},
                   {"sleeping", samples.sleeping},
                   {"prohibited", samples.prohibited},
                   {"other", other},
                   {"rows", std::move(list)}});
}

}  // namespace Korr::Plim::Trace::Viewer
