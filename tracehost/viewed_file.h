#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "tracehost/captures.h"
#include "tracehost/feed_switch.h"
#include "tracehost/feed_thread.h"
#include "tracehost/recording_view.h"

namespace Korr::Plim::Trace::Tracehost {

/// One recording in a file, fed to whoever looks at it. A raw file without a recording sheet may still grow,
/// and is followed. Used by one thread.
class ViewedFile {
  public:
    /// Begins to read it. \throws UsageError when the file is none, has several recordings or cannot be read,
    /// HostError
    ViewedFile(const CaptureRequest& captureRequest, const ViewRequest& viewRequest);

    const Viewer::Feed& Feed() const { return shown; }
    const std::string& Name() const { return capture.name; }
    /// Looks whether the file has grown. To be called a few times a second. What went wrong is told on
    /// standard error
    void Look();
    /// Whether all that was asked for can be shown.
    bool Whole() const { return whole; }

  private:
    using Clock = std::chrono::steady_clock;

    void Choose();
    void Begin(bool growing);
    void FollowGrowth();
    void Tell(const std::string& problem);

    const CaptureRequest request;
    Capture capture;
    uint64_t offset = 0;  ///< of the capture in the file
    bool mayGrow = false;
    Viewer::RecordingSettings settings;
    FeedSwitch shown;
    std::unique_ptr<FeedThread> feeder;
    bool live = false;  ///< the present feed is told of growth
    uint64_t size = 0;  ///< bytes of the capture that the present feed knows of
    Clock::time_point grewAt;
    bool problemTold = false;
    bool whole = true;
};

}  // namespace Korr::Plim::Trace::Tracehost
