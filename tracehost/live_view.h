#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tracehost/capture_bytes.h"
#include "tracehost/capture_follower.h"
#include "tracehost/feed_switch.h"
#include "tracehost/feed_thread.h"
#include "tracehost/page_server.h"
#include "tracehost/record_request.h"
#include "tracehost/recording_sheet.h"
#include "tracehost/view_controls.h"
#include "viewer/recording_feed.h"

namespace Korr::Plim::Trace::Tracehost {

/// One part of a recording, as far as it is known at the time.
struct LivePart {
    std::string name;              ///< of the output
    std::string captureFile;       ///< the plug-in's
    std::string savedFile;         ///< that the part was saved into; empty: it is in no file
    bool raw = false;              ///< the saved file
    std::optional<uint32_t> port;  ///< number of the COM port
    double clockHz = 0;            ///< trace clock; 0: not known
    double bitRate = 0;            ///< of the line; 0: not known
};

/// Shows a recording in the browser while it is made. Bytes are not kept here: a thread of the view reads
/// them in the plug-in's capture file, as far as the recording has seen it grow, and what the page shows is
/// read there again, later in the file that was saved. So neither the recording's thread nor the plug-in
/// waits for anybody who looks.
class LiveView : public CaptureObserver {
  public:
    /// Serves from now on, and tells the address on standard error. \param present tells of the part that is
    /// recorded or was recorded last \param end asks for the recording's end, from any thread; null: the page
    /// cannot \throws UsageError, HostError
    LiveView(const RecordRequest& wanted, std::function<LivePart()> present,
             const std::function<void()>& end = nullptr);

    /// Takes note of the bytes. What goes wrong here ends the view, not the recording. [host thread]
    void Take(std::span<const uint8_t> bytes) override;
    /// The present part has been stopped and saved. [host thread]
    void EndPart(const RecordingSheet& sheet) noexcept;
    /// To be called now and then while bytes may come. The first time the browser is opened: not for a
    /// recording that is refused. [host thread]
    void Look();
    /// Goes on serving until the user interrupts.
    void ServeUntilInterrupted();
    const Viewer::Feed& Feed() const { return shown; }

  private:
    using Clock = std::chrono::steady_clock;

    void BeginPart();
    void Conclude(const RecordingSheet& sheet);
    void ShowAnew();
    void GiveUp(const char* why);

    const std::function<LivePart()> part;
    bool browserWanted;
    std::atomic<bool> over{false};  ///< nothing is recorded any more
    ViewControls controls;
    Viewer::RecordingSettings settings;             ///< as far as they are known before the recording
    std::optional<uint64_t> left;                   ///< bytes that may still be shown
    std::shared_ptr<Viewer::RecordingFeed> before;  ///< what is shown until the first byte
    FeedSwitch shown;
    std::unique_ptr<FeedThread> feeder;  ///< of the present part or the last one; null before the first
    std::shared_ptr<MovableBytes> bytes;
    FeedThread::Change atEnd;  ///< of the last part, once it has ended
    int parts = 0;             ///< that had bytes
    bool inPart = false;
    bool broken = false;
    uint64_t size = 0;  ///< bytes of the present part
    Clock::time_point begun;
    ArrivalLog arrivals;
    std::optional<PageServer> server;
};

}  // namespace Korr::Plim::Trace::Tracehost
