#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "tracehost/captures.h"
#include "tracehost/feed_switch.h"
#include "tracehost/feed_thread.h"
#include "tracehost/recording_view.h"
#include "tracehost/view_controls.h"

namespace Korr::Plim::Trace::Tracehost {

/// One recording in a file, fed to whoever looks at it. A raw file without a recording sheet may still grow,
/// and is followed, also when another file comes in its place. Used by one thread.
class ViewedFile {
  public:
    /// Begins to read it. \param quiet without growth, after which it counts as complete \throws UsageError
    /// when the file is none, has several recordings or cannot be read, HostError
    ViewedFile(const CaptureRequest& captureRequest, const ViewRequest& viewRequest,
               std::chrono::milliseconds quiet = std::chrono::seconds(10));

    const Viewer::Feed& Feed() const { return shown; }
    Viewer::Controls& Controls() { return controls; }
    const std::string& Name() const { return capture.name; }
    /// Looks what has become of the file, and whether a page wants its ports shown otherwise. To be called a
    /// few times a second. What went wrong is told once, on standard error and to the pages
    void Look();
    /// Whether all that was asked for can be shown.
    bool Whole() const { return whole; }

  private:
    using Clock = std::chrono::steady_clock;

    void Choose();
    bool IsBeingWritten() const;
    void Begin(bool growing);
    void BeginAnew(const char* why, bool other);
    void FollowGrowth();
    void Grow(uint64_t now);
    void End();
    void WatchLength();
    void Tell(const std::string& problem);
    void TellPages(const std::string& problem);

    const CaptureRequest request;
    const std::chrono::milliseconds quiet;
    Capture capture;
    uint64_t offset = 0;  ///< of the capture in the file
    bool mayGrow = false;
    std::string damage;  ///< of the file behind the capture; empty: none
    Viewer::RecordingSettings settings;
    ViewControls controls;
    FeedSwitch shown;
    std::unique_ptr<FeedThread> feeder;
    bool live = false;     ///< the present feed is told of growth
    uint64_t size = 0;     ///< bytes of the capture that the present feed knows of
    std::string identity;  ///< of the file that the present feed reads; empty: not known
    Clock::time_point grewAt;
    bool gone = false;  ///< the file
    bool problemTold = false;
    bool whole = true;
};

}  // namespace Korr::Plim::Trace::Tracehost
