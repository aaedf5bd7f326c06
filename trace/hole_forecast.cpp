#include "trace/hole_forecast.h"

#include <algorithm>
#include <set>

#include "trace/capture_analysis.h"

namespace Korr::Plim::Trace::Swo {

namespace {

constexpr int kHoles = 200;
constexpr size_t kLongestHole = 4096;
constexpr size_t kFewestBytes = 2048;
constexpr size_t kBehind = 1024;          // bytes decoded behind a hole
constexpr size_t kBehindCounter = 16384;  // the same with a counter port, which may come seldom
constexpr uint64_t kNear = 300;
constexpr uint64_t kBefore = 8;  // bytes: the packet that a hole falls in begins so much before at most

/// A generator that is the same on every platform (Numerical Recipes' constants).
class Chance {
  public:
    /// 0 to `limit` - 1. \param limit at least 1
    size_t Below(size_t limit) {
        state = state * 6364136223846793005u + 1442695040888963407u;
        return static_cast<size_t>((state >> 33) % limit);
    }

  private:
    uint64_t state = 12345;
};

bool TellsOfHoles(const LedgerEntry& entry) {
    return entry.lossClass != LossClass::Edge && entry.lossClass != LossClass::Target &&
           entry.kind != LossKind::Delayed;
}

class Experiment {
  public:
    Experiment(std::span<const uint8_t> capture, const AnalysisOptions& how) : bytes(capture), options(how) {
        CaptureAnalysis whole(options);
        whole.Feed(bytes);
        whole.Finish();
        for (const LedgerEntry& entry : whole.Losses().Entries()) known.insert(entry.offset);
    }

    void TryHole(size_t place, size_t length, HoleForecast& forecast) const {
        const size_t behind = options.counterPort ? kBehindCounter : kBehind;
        const auto rest = bytes.subspan(place + length);
        CaptureAnalysis cut(options);
        cut.Feed(bytes.first(place));
        cut.Feed(rest.first(std::min(rest.size(), behind)));
        cut.Finish();
        bool loss = false;
        bool hint = false;
        for (const LedgerEntry& entry : cut.Losses().Entries()) {
            if (!Shows(entry, place, length)) continue;
            (entry.hint ? hint : loss) = true;
        }
        ++forecast.holes;
        forecast.seenAsLoss += loss ? 1 : 0;
        forecast.seenAsHint += hint && !loss ? 1 : 0;
    }

  private:
    /// Whether an entry tells of the hole, and would not be there without it.
    bool Shows(const LedgerEntry& entry, size_t place, size_t length) const {
        if (!TellsOfHoles(entry) || entry.offset + kBefore < place) return false;
        if (entry.kind != LossKind::CounterGap && entry.offset > place + kNear) return false;
        return known.count(entry.offset) == 0 && known.count(entry.offset + length) == 0;
    }

    std::span<const uint8_t> bytes;
    AnalysisOptions options;
    std::set<uint64_t> known;  ///< offsets of entries that are there without a hole
};

}  // namespace

HoleForecast ForecastHoles(std::span<const uint8_t> bytes, const AnalysisOptions& options) {
    HoleForecast forecast;
    if (bytes.size() < kFewestBytes) return forecast;
    bytes = bytes.first(std::min(bytes.size(), kForecastBytes));
    AnalysisOptions quiet = options;
    quiet.packets = nullptr;
    quiet.text = nullptr;
    const Experiment experiment(bytes, quiet);
    Chance chance;
    const size_t longest = std::min(kLongestHole, bytes.size() / 4);
    const size_t first = bytes.size() / 4;  // what was learnt by then is typical
    for (int i = 0; i < kHoles; ++i) {
        const size_t length = 1 + chance.Below(longest);
        const size_t place = first + chance.Below(bytes.size() - length - first);
        experiment.TryHole(place, length, forecast);
    }
    return forecast;
}

}  // namespace Korr::Plim::Trace::Swo
