#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "trace/capture_analysis.h"
#include "viewer/recording_feed.h"

namespace Korr::Plim::Trace::Tracehost {

/// Feeds what a capture has to a feed, on a thread of its own: whoever says that there is more never waits.
class FeedThread {
  public:
    using Change = std::function<void(Swo::CaptureAnalysis&)>;

    /// \param settings of the feed that is made \param bytes of the capture
    FeedThread(Viewer::RecordingSettings settings, std::shared_ptr<const Swo::CaptureBytes> bytes);
    /// Ends, wherever it is.
    ~FeedThread();
    FeedThread(const FeedThread&) = delete;
    FeedThread& operator=(const FeedThread&) = delete;

    std::shared_ptr<Viewer::RecordingFeed> Feed() const { return feed; }
    /// The capture has so many bytes now. Never falls. [any thread]
    void Grow(uint64_t size);
    /// When the bytes have arrived so far. [any thread]
    void SetArrivals(std::vector<Swo::Arrival> arrivals);
    /// No more bytes come. \param change may add to the ledger, on the thread \param size as for Grow [any
    /// thread]
    void End(uint64_t size, Change change = nullptr);
    /// What went wrong in reading the capture; empty: nothing. It is shown as far as it could be read. [any
    /// thread]
    std::string Problem() const;

  private:
    void Run();
    void FeedUntilTheEnd();
    bool TakeMore(std::unique_lock<std::mutex>& lock);
    void Conclude(std::unique_lock<std::mutex>& lock);
    void Forecast();

    const Swo::AnalysisOptions analysis;
    const std::shared_ptr<const Swo::CaptureBytes> bytes;
    const std::shared_ptr<Viewer::RecordingFeed> feed;

    // Of the thread alone.
    uint64_t taken = 0;
    std::vector<uint8_t> piece;
    std::vector<uint8_t> head;  ///< the capture's beginning, until the forecast is made
    bool forecast = false;

    mutable std::mutex mutex;  ///< of all below
    std::condition_variable changed;
    uint64_t atHand = 0;
    bool arrived = false;
    std::vector<Swo::Arrival> newArrivals;
    bool ended = false;
    bool stop = false;
    Change atEnd;
    std::string problem;
    std::thread thread;
};

}  // namespace Korr::Plim::Trace::Tracehost
