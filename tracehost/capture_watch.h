#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tracehost/capture_thread.h"
#include "tracehost/recording_log.h"

namespace Korr::Plim::Trace::Tracehost {

/// Why a capture came to its end though nobody stopped it.
struct CaptureFault {
    bool ofThePort = false;             ///< the port is to blame, and may come back
    std::optional<uint32_t> readError;  ///< the platform's number, when reading the port failed
    std::string what;  ///< the rest of a sentence: "COM5 (/dev/ttyACM5) vanished (error 5: …)"
};

/// Finds out from what a host can see whether a capture goes on: the plug-in itself goes on saying
/// "Recording". It looks at the log's error lines, at the port's place, and, when the capture has stopped
/// growing, at the capture thread and at the disk.
class CaptureWatch {
  public:
    /// \param recordingLog outlives the watch \param portNumber absent: not known, the port is not looked at
    /// \param captureFile path of the capture file \param captureThread of the present start
    CaptureWatch(RecordingLog& recordingLog, std::optional<uint32_t> portNumber, std::string captureFile,
                 CaptureThread captureThread = {});

    /// A look. \param seconds of the recording, never falling \param bytes captured so far
    std::optional<CaptureFault> Look(double seconds, uint64_t bytes);
    /// A look right before StopRecording: what would be asked again a moment later counts at once.
    std::optional<CaptureFault> LastLook(double seconds, uint64_t bytes);
    /// What went wrong between the last look and the end of StopRecording.
    std::optional<CaptureFault> AfterStop(double seconds);

  private:
    std::optional<CaptureFault> Look(double seconds, uint64_t bytes, bool last);
    bool ThreadHasEnded(double seconds, bool last);
    std::optional<CaptureFault> FromLog(double seconds);
    std::optional<CaptureFault> FromPort(double seconds, double patience);
    std::optional<CaptureFault> FromDisk(double seconds, bool atOnce);
    std::optional<CaptureFault> FromWriting(bool lives) const;
    bool PortIsThere() const;
    bool FileIsThere() const;
    std::string Port() const;

    RecordingLog& log;
    std::optional<uint32_t> port;
    std::string file;
    CaptureThread thread;
    std::string identity;             ///< of the port when the capture began
    std::string device;               ///< the port's own, at that time
    std::string fileIdentity;         ///< of the capture file when the capture began
    std::optional<double> goneSince;  ///< the port's place
    std::optional<int> readError;     ///< that ended the capture
    double readFailedAt = 0;
    uint64_t grownTo = 0;
    double grewAt = 0;                 ///< seconds
    std::optional<double> endedSince;  ///< the capture thread
    double diskLookAt = 0;
};

}  // namespace Korr::Plim::Trace::Tracehost
