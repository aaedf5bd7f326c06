#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "tracehost/capture_bytes.h"
#include "tracehost/capture_follower.h"
#include "tracehost/feed_switch.h"
#include "tracehost/feed_thread.h"
#include "tracehost/page_server.h"
#include "tracehost/recording.h"

namespace Korr::Plim::Trace::Tracehost {

/// Shows a recording in the browser while it is made. Bytes are not kept here: a thread of the view reads
/// them in the plug-in's capture file, as far as the recording has seen it grow, and what the page shows is
/// read there again, later in the file that was saved. So neither the recording's thread nor the plug-in
/// waits for anybody who looks.
class LiveView : public CaptureObserver {
  public:
    /// Serves from now on, and tells the address on standard error. \param taken outlives the
    /// view \throws UsageError, HostError
    LiveView(const RecordRequest& wanted, const Recording& taken);

    /// Takes note of the bytes. What goes wrong here ends the view, not the recording. [host thread]
    void Take(std::span<const uint8_t> bytes) override;
    /// A part, the result's last one, has been stopped and saved. [host thread]
    void EndPart(const RecordingResult& result, const RecordingSheet& sheet) noexcept;
    /// To be called now and then. [host thread]
    void Look();
    /// Goes on serving until the user interrupts.
    void ServeUntilInterrupted();

  private:
    using Clock = std::chrono::steady_clock;

    void BeginPart();
    void Conclude(const RecordingResult& result, const RecordingSheet& sheet);
    void GiveUp(const char* why);

    const Recording& recording;
    Viewer::RecordingSettings settings;  ///< as far as they are known before the recording
    std::optional<uint64_t> left;        ///< bytes that may still be shown
    FeedSwitch shown;
    std::unique_ptr<FeedThread> feeder;  ///< of the present part or the last one; null before the first
    std::shared_ptr<MovableBytes> bytes;
    bool inPart = false;
    bool broken = false;
    uint64_t size = 0;  ///< bytes of the present part
    Clock::time_point begun;
    ArrivalLog arrivals;
    std::optional<PageServer> server;
};

}  // namespace Korr::Plim::Trace::Tracehost
