#include "viewer/html_writer.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "viewer/base64.h"
#include "viewer/json_text.h"

namespace Korr::Plim::Trace::Viewer {

namespace {

constexpr uint32_t kColumns = 1024;
constexpr uint32_t kFewestColumns = 64;
constexpr double kEventsOfAWindow = 2000;
constexpr size_t kMostLossWindows = 16;
constexpr uint32_t kLedgerEntries = 200;
constexpr int kMostLevels = 4;  // of finer summaries, each four times as fine as the one before

struct Stretch {
    double from;
    double to;
};

void KeepFirst(Json& array, size_t count) {
    array.erase(array.begin() + static_cast<std::ptrdiff_t>(count), array.end());
}

/// Collects what fits into a budget.
class Embedding {
  public:
    Embedding(const Feed& source, size_t budget)
        : feed(source), left(budget), overview(Json::parse(feed.Overview())) {
        axis = {overview["axis"]["begin"], overview["axis"]["end"]};
        Spend(TextOf(overview).size());
    }

    Json Collect() {
        AddWhole();
        Json ledger = Json::parse(feed.Ledger(0, kLedgerEntries));
        const Json text = Text(left / 4);
        const Json profile = Profile(left / 4);
        while (TextOf(ledger).size() > left / 4 && !ledger["entries"].empty()) {
            KeepFirst(ledger["entries"], ledger["entries"].size() / 2);
        }
        Spend(TextOf(ledger).size());
        if (Packets() > kEventsOfAWindow * 8 || !AddWindow(axis, false)) {
            AddExactWindows(ledger);
            AddFinerColumns();
        }
        return {{"overview", overview},
                {"windows", windows},
                {"text", text},
                {"ledger", ledger},
                {"profile", profile}};
    }

  private:
    void Spend(size_t bytes) { left -= std::min(left, bytes); }

    /// In so many columns that something is left for the rest, and in kFewestColumns whatever they take.
    void AddWhole() {
        uint32_t columns = kColumns;
        for (; columns > kFewestColumns; columns /= 2) {
            if (AddWindow(axis, true, left - left / 4, columns)) return;
        }
        AddWindow(axis, true, SIZE_MAX, columns);
    }

    bool AddWindow(const Stretch& stretch, bool columns) {
        return AddWindow(stretch, columns, left, kColumns);
    }
    /// \return whether it fitted
    bool AddWindow(const Stretch& stretch, bool columns, size_t room, uint32_t count) {
        WindowQuestion question{stretch.from, stretch.to, count, {}, columns};
        std::string window = Base64(feed.Window(question));
        if (window.size() > room || room - window.size() < 3) return false;
        Spend(window.size() + 3);
        windows.push_back(std::move(window));
        return true;
    }

    double Packets() const {
        for (const Json& track : overview["tracks"]) {
            if (track["id"] == "bandwidth") return std::max(1.0, track["total"].get<double>());
        }
        return 1;
    }

    void AddExactWindows(const Json& ledger) {
        const double width = (axis.to - axis.from) * std::min(1.0, kEventsOfAWindow / Packets());
        std::vector<Stretch> wanted;
        const auto want = [&](double from) {
            from = std::clamp(from, axis.from, std::max(axis.from, axis.to - width));
            const auto shows = [&](const Stretch& one) {
                return from + width / 2 >= one.from && from + width / 2 < one.to;
            };
            if (std::none_of(wanted.begin(), wanted.end(), shows)) wanted.push_back({from, from + width});
        };
        for (const bool hints : {false, true}) {
            for (const Json& entry : ledger["entries"]) {
                if (entry["hint"] != hints || wanted.size() >= kMostLossWindows) continue;
                want(entry["time"].get<double>() - width / 2);
            }
        }
        want(axis.from);
        want(axis.to - width);
        for (const Stretch& stretch : wanted) AddWindow(stretch, false);
    }

    void AddFinerColumns() {
        int parts = 1;
        for (int level = 0; level < kMostLevels; ++level) {
            parts *= 4;
            const double width = (axis.to - axis.from) / parts;
            for (int i = 0; i < parts; ++i) {
                const double from = axis.from + i * width;
                if (!(from + width > from) || !AddWindow({from, from + width}, true)) return;
            }
        }
    }

    Json Text(size_t budget) {
        Json all = Json::object();
        for (const Json& track : overview["tracks"]) {
            if (track["kind"] != "text") continue;
            for (uint32_t count = kMostRows; count > 0; count /= 2) {
                const std::string answer = feed.Text({track["port"], 0, count});
                if (answer.size() > budget) continue;
                budget -= answer.size();
                Spend(answer.size());
                all[track["id"].get<std::string>()] = Json::parse(answer);
                break;
            }
        }
        return all;
    }

    Json Profile(size_t budget) {
        Json all = Json::object();
        for (const bool byFunction : {true, false}) {
            Json answer = Json::parse(feed.Profile({axis.from, axis.to, byFunction}));
            uint64_t other = answer["other"];
            while (TextOf(answer).size() > budget / 2 && !answer["rows"].empty()) {
                const size_t kept = answer["rows"].size() / 2;
                for (size_t i = kept; i < answer["rows"].size(); ++i) {
                    other += answer["rows"][i]["samples"].get<uint64_t>();
                }
                KeepFirst(answer["rows"], kept);
                answer["other"] = other;
            }
            Spend(TextOf(answer).size());
            all[byFunction ? "function" : "address"] = std::move(answer);
        }
        return all;
    }

    const Feed& feed;
    size_t left;
    Json overview;
    Stretch axis{};
    Json windows = Json::array();
};

/// A script that holds data must not hold what could end it.
std::string WithoutTags(const std::string& json) {
    std::string safe;
    safe.reserve(json.size());
    for (const char character : json) {
        if (character == '<') {
            safe += "\\u003c";
        } else {
            safe += character;
        }
    }
    return safe;
}

}  // namespace

std::string EmbedRecording(const Feed& feed, std::string_view pageHtml, std::size_t budgetBytes) {
    const size_t place = pageHtml.find(kRecordingPlace);
    if (place == std::string_view::npos) throw std::invalid_argument("the page has no place for a recording");
    std::string page(pageHtml.substr(0, place));
    page += "<script type=\"application/json\" id=\"recording\">";
    page += WithoutTags(TextOf(Embedding(feed, budgetBytes).Collect()));
    page += "</script>";
    page += pageHtml.substr(place + kRecordingPlace.size());
    return page;
}

}  // namespace Korr::Plim::Trace::Viewer
