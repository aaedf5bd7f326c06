#include "viewer/recording_feed.h"

#include <algorithm>
#include <atomic>

#include "viewer/fair_mutex.h"
#include "viewer/overview.h"
#include "viewer/recording_questions.h"

namespace Korr::Plim::Trace::Viewer {

namespace {

Swo::IndexOptions IndexOptionsOf(const RecordingSettings& settings) {
    return {settings.analysis, settings.ports};
}

/// Of each feed beyond all of those that were made before it: a page may be shown one after another.
uint64_t FirstRevision() {
    static std::atomic<uint64_t> feeds{0};
    return (feeds++ << 32) + 1;
}

}  // namespace

class RecordingFeed::Work {
  public:
    Work(RecordingSettings wanted, std::shared_ptr<const Swo::CaptureBytes> captured)
        : settings(std::move(wanted)),
          axisSettings{settings.clockHz, settings.analysis.prescale, settings.baud, settings.arrivals},
          bytes(std::move(captured)),
          index(IndexOptionsOf(settings)) {}

    /// [feeding thread]
    template <class Change>
    void Alter(Change&& change) {
        const std::lock_guard<FairMutex> hold(mutex);
        change();
        ++revision;
    }
    FeedState State() const {
        FeedState state;
        state.revision = revision;
        state.bytes = std::max(atHand, index.Analysis().Bytes());
        state.indexed = index.Analysis().Bytes();
        state.end = EndOf(index, Axis());
        state.live = settings.live && !index.Finished();
        return state;
    }
    Swo::RecordingAxis Axis() const { return {axisSettings, index.Timed()}; }
    RecordingQuestions Questions() const { return {settings, *bytes, index, Axis(), revision}; }

    RecordingSettings settings;
    Swo::AxisSettings axisSettings;
    std::shared_ptr<const Swo::CaptureBytes> bytes;
    mutable FairMutex mutex;  ///< of all below
    Swo::RecordingIndex index;
    uint64_t revision = FirstRevision();
    uint64_t atHand = 0;
    std::optional<double> forecast;
};

RecordingFeed::RecordingFeed(RecordingSettings wanted, std::shared_ptr<const Swo::CaptureBytes> captured)
    : work(std::make_unique<Work>(std::move(wanted), std::move(captured))) {}
RecordingFeed::~RecordingFeed() = default;

void RecordingFeed::Take(std::span<const uint8_t> bytes) {
    // So that who asks never waits long, some milliseconds.
    constexpr size_t kPiece = 65536;
    constexpr size_t kPieceOnTwoThreads = size_t{1} << 20;
    const size_t most = work->settings.analysis.onTwoThreads ? kPieceOnTwoThreads : kPiece;
    while (!bytes.empty()) {
        const auto piece = bytes.first(std::min(bytes.size(), most));
        work->Alter([&] { work->index.Feed(piece); });
        bytes = bytes.subspan(piece.size());
    }
}

void RecordingFeed::Idle() {
    work->Alter([this] { work->index.Idle(); });
}

void RecordingFeed::Finish(const std::function<void(Swo::CaptureAnalysis&)>& change) {
    work->Alter([&] {
        work->index.Finish();
        if (change) change(work->index.Analysis());
    });
}

void RecordingFeed::SetBytesAtHand(uint64_t bytes) {
    work->Alter([&] { work->atHand = bytes; });
}

void RecordingFeed::SetArrivals(std::vector<Swo::Arrival> arrivals) {
    work->Alter([&] { work->axisSettings.arrivals = std::move(arrivals); });
}

void RecordingFeed::SetForecast(double share) {
    work->Alter([&] { work->forecast = share; });
}

FeedState RecordingFeed::Now() const {
    const std::lock_guard<FairMutex> hold(work->mutex);
    return work->State();
}

std::string RecordingFeed::Overview() const {
    const std::lock_guard<FairMutex> hold(work->mutex);
    const FeedState state = work->State();
    const bool complete = work->index.Finished() || (state.live && state.indexed == state.bytes);
    return OverviewOf(work->settings, work->index, work->Axis(), state, complete, work->forecast);
}

std::string RecordingFeed::Window(const WindowQuestion& question) const {
    std::unique_lock<FairMutex> hold(work->mutex);
    return work->Questions().Window(question, hold);
}

std::string RecordingFeed::Events(const EventsQuestion& question) const {
    std::unique_lock<FairMutex> hold(work->mutex);
    return work->Questions().Events(question, hold);
}

AxisStretch RecordingFeed::Around(uint64_t offset, uint32_t packets) const {
    std::unique_lock<FairMutex> hold(work->mutex);
    return work->Questions().Around(offset, packets, hold);
}

std::string RecordingFeed::Text(const TextQuestion& question) const {
    std::unique_lock<FairMutex> hold(work->mutex);
    return work->Questions().Text(question, hold);
}

std::string RecordingFeed::Find(const FindQuestion& question) const {
    std::unique_lock<FairMutex> hold(work->mutex);
    return work->Questions().Find(question, hold);
}

std::string RecordingFeed::LineAt(uint8_t port, double time) const {
    std::unique_lock<FairMutex> hold(work->mutex);
    return work->Questions().LineAt(port, time, hold);
}

std::string RecordingFeed::Ledger(uint64_t from, uint32_t count) const {
    const std::lock_guard<FairMutex> hold(work->mutex);
    return work->Questions().Ledger(from, count);
}

std::string RecordingFeed::Profile(const ProfileQuestion& question) const {
    std::unique_lock<FairMutex> hold(work->mutex);
    return work->Questions().Profile(question, hold);
}

}  // namespace Korr::Plim::Trace::Viewer
