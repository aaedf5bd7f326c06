#include "viewer/html_writer.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "viewer/base64.h"
#include "viewer/gzip.h"
#include "viewer/json_text.h"

namespace Korr::Plim::Trace::Viewer {

namespace {

constexpr uint32_t kColumns = 1024;
constexpr uint32_t kFewestColumns = 64;
constexpr uint32_t kLedgerEntries = 200;
constexpr uint32_t kPacketsBeside = 1000;  // a loss, on each side
constexpr double kMostWhole =
    500000;  // packets of a recording that is there packet by packet, if there is room
constexpr uint64_t kLargestWhole = uint64_t{32} << 20;  // bytes of the capture, of such a recording
constexpr int kMostLevels = 4;   // of finer summaries, each four times as fine as the one before
constexpr uint32_t kStrip = 48;  // columns of a profile over time

void KeepFirst(Json& array, size_t count) {
    array.erase(array.begin() + static_cast<std::ptrdiff_t>(count), array.end());
}

void AppendLength(std::string& out, size_t length) {
    for (int i = 0; i < 4; ++i) out += static_cast<char>(length >> 8 * i & 0xFF);
}

bool IsExact(const std::string& window) {
    const auto byte = [&window](size_t at) { return size_t{static_cast<unsigned char>(window[at])}; };
    const size_t length = byte(4) | byte(5) << 8 | byte(6) << 16 | byte(7) << 24;
    return Json::parse(window.substr(8, length))["exact"];
}

/// What bytes take in the page, at most: those of others make them smaller.
size_t CostOf(const std::string& bytes) { return (Gzip(bytes).size() + 2) / 3 * 4; }

/// Collects what fits into a budget.
class Embedding {
  public:
    Embedding(const RecordingFeed& source, size_t budget)
        : feed(source), left(budget), overview(Json::parse(feed.Overview())) {
        overview["changeable"] = overview["stoppable"] = false;
        axis = {overview["axis"]["begin"], overview["axis"]["end"]};
    }

    /// As docs/viewer-feed.md has it, before it is compressed.
    std::string Collect() {
        AddWhole();
        Json ledger = Json::parse(feed.Ledger(0, kLedgerEntries));
        while (CostOf(TextOf(ledger)) > left / 4 && !ledger["entries"].empty()) {
            KeepFirst(ledger["entries"], ledger["entries"].size() / 2);
        }
        Spend(CostOf(TextOf(ledger)));
        const Json text = Text(left / 4);
        const Json profile = Profile(left / 4);
        Spend(CostOf(TextOf(overview)));
        if (!AddEveryPacket()) {
            AddBesideLosses(ledger);
            if (Packets() > kColumns) AddFinerColumns();
        }
        Json sizes = Json::array();
        for (const std::string& window : windows) sizes.push_back(window.size());
        const std::string head = TextOf({{"overview", overview},
                                         {"windows", sizes},
                                         {"text", text},
                                         {"ledger", ledger},
                                         {"profile", profile}});
        std::string all;
        AppendLength(all, head.size());
        all += head;
        all.resize((all.size() + 7) / 8 * 8);
        for (const std::string& window : windows) all += window;
        return all;
    }

  private:
    void Spend(size_t bytes) { left -= std::min(left, bytes); }

    std::string Window(const AxisStretch& stretch, bool columns, uint32_t count = kColumns) const {
        return feed.Window({stretch.from, stretch.to, count, {}, columns});
    }
    /// \return whether it fits into so much
    bool Add(std::string window, size_t room) {
        const size_t cost = CostOf(window);
        if (cost > room) return false;
        Spend(cost);
        windows.push_back(std::move(window));
        return true;
    }

    /// In so many columns that something is left for the rest, and in kFewestColumns whatever they take.
    void AddWhole() {
        uint32_t columns = kColumns;
        for (; columns > kFewestColumns; columns /= 2) {
            if (Add(Window(axis, true, columns), left - left / 4)) return;
        }
        Add(Window(axis, true, columns), SIZE_MAX);
    }

    double Packets() const {
        for (const Json& track : overview["tracks"]) {
            if (track["id"] == "bandwidth") return std::max(1.0, track["total"].get<double>());
        }
        return 1;
    }

    /// \return whether there was room
    bool AddEveryPacket() {
        const size_t before = windows.size();
        const size_t room = left;
        const bool small = Packets() <= kMostWhole && overview["indexed"] <= kLargestWhole;
        if (small && AddExactly(axis)) return true;
        windows.resize(before);
        left = room;
        return false;
    }
    /// In as many windows as it takes.
    bool AddExactly(const AxisStretch& stretch) {
        std::string window = Window(stretch, false);
        if (IsExact(window)) return Add(std::move(window), left);
        const double middle = stretch.from + (stretch.to - stretch.from) / 2;
        if (!(middle > stretch.from && middle < stretch.to)) return false;
        return AddExactly({stretch.from, middle}) && AddExactly({middle, stretch.to});
    }

    /// The packets around each loss of the ledger, around hints last, and those at the beginning and the end.
    /// Leaves a third for finer summaries.
    void AddBesideLosses(const Json& ledger) {
        std::vector<AxisStretch> certain;
        std::vector<AxisStretch> hints;
        double told = axis.from;  // up to where stretches are there already: of losses, and of either
        double hinted = axis.from;
        for (const Json& entry : ledger["entries"]) {
            const bool hint = entry["hint"] == true;
            AxisStretch stretch = feed.Around(entry["offset"], kPacketsBeside);
            stretch.from =
                std::max(stretch.from, hint ? hinted : told);  // a hint's may not be kept in the end
            if (stretch.from >= stretch.to) continue;
            hinted = std::max(hinted, stretch.to);
            if (!hint) told = stretch.to;
            (hint ? hints : certain).push_back(stretch);
        }
        certain.push_back(feed.Around(0, kPacketsBeside));
        certain.push_back(feed.Around(overview["indexed"], kPacketsBeside));
        certain.insert(certain.end(), hints.begin(), hints.end());
        const size_t kept = left / 3;
        for (const AxisStretch& stretch : certain) {
            std::string window = Window(stretch, false);
            if (IsExact(window) && !Add(std::move(window), left - std::min(left, kept))) break;
        }
    }

    void AddFinerColumns() {
        int parts = 1;
        for (int level = 0; level < kMostLevels; ++level) {
            parts *= 4;
            const double width = (axis.to - axis.from) / parts;
            for (int i = 0; i < parts; ++i) {
                const double from = axis.from + i * width;
                if (!(from + width > from) || !Add(Window({from, from + width}, true), left)) return;
            }
        }
    }

    Json Text(size_t budget) {
        Json all = Json::object();
        for (const Json& track : overview["tracks"]) {
            if (track["kind"] != "text") continue;
            for (uint32_t count = kMostRows; count > 0; count /= 2) {
                const std::string answer = feed.Text({track["port"], 0, count});
                const size_t cost = CostOf(answer);
                if (cost > budget) continue;
                budget -= cost;
                Spend(cost);
                all[track["id"].get<std::string>()] = Json::parse(answer);
                break;
            }
        }
        return all;
    }

    Json Profile(size_t budget) {
        Json all = Json::object();
        AddProfile(all, "function", ProfileBy::Function, budget / 3);
        AddProfile(all, "address", ProfileBy::Address, budget / 3);
        if (overview["lines"] == true) {
            try {
                AddProfile(all, "line", ProfileBy::Line, budget / 3);
            } catch (const std::runtime_error&) {
                overview["lines"] = false;  // whoever reads debug information has failed; the rest is there
            }
        }
        return all;
    }
    void AddProfile(Json& all, const char* name, ProfileBy by, size_t room) {
        Json answer = Json::parse(feed.Profile({axis.from, axis.to, by, kStrip}));
        uint64_t other = answer["other"];
        while (CostOf(TextOf(answer)) > room && !answer["rows"].empty()) {
            const size_t kept = answer["rows"].size() / 2;
            for (size_t i = kept; i < answer["rows"].size(); ++i) {
                other += answer["rows"][i]["samples"].get<uint64_t>();
            }
            KeepFirst(answer["rows"], kept);
            answer["other"] = other;
        }
        Spend(CostOf(TextOf(answer)));
        all[name] = std::move(answer);
    }

    const RecordingFeed& feed;
    size_t left;
    Json overview;
    AxisStretch axis{};
    std::vector<std::string> windows;
};

}  // namespace

std::string EmbedRecording(const RecordingFeed& feed, std::string_view pageHtml, std::size_t budgetBytes) {
    const size_t place = pageHtml.find(kRecordingPlace);
    if (place == std::string_view::npos) throw std::invalid_argument("the page has no place for a recording");
    std::string page(pageHtml.substr(0, place));
    page += "<script type=\"application/gzip\" id=\"recording\">";
    page += Base64(Gzip(Embedding(feed, budgetBytes).Collect()));  // its digits end no element
    page += "</script>";
    page += pageHtml.substr(place + kRecordingPlace.size());
    return page;
}

}  // namespace Korr::Plim::Trace::Viewer
