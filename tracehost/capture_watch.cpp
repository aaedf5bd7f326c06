#include "tracehost/capture_watch.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>
#include <vector>

#include "source_utilities/file_system.h"
#include "tracehost/file_access.h"
#include "tracehost/own_process.h"
#include "tracehost/platform_words.h"
#include "tracehost/port_presence.h"
#include "tracehost/progress.h"

namespace Korr::Plim::Trace::Tracehost {

namespace fs = std::filesystem;

namespace {

constexpr const char* kReadFailed = "Reading COM port failed with error code ";
constexpr const char* kWriteFailed = "Writing to binary file failed with error code ";
constexpr double kOtherComes = 0.3;   // seconds between what the port's place, its reader and the log tell
constexpr double kQuiet = 0.2;        // seconds without growth after which the capture thread is looked for
constexpr double kStandstill = 0.5;   // seconds without growth after which the disk is asked
constexpr std::size_t kProbe = 4096;  // bytes that a disk with room takes
constexpr const char* kDiskFull = "the disk is full";

/// The number behind a text of the log; absent when the line is another one.
std::optional<int> CodeBehind(const std::string& line, const char* text) {
    const std::size_t at = line.find(text);
    if (at == std::string::npos) return std::nullopt;
    return std::atoi(line.c_str() + at + std::char_traits<char>::length(text));
}

std::string WithMeaning(int code) {
    return "error " + std::to_string(code) + ": " + ErrorWords(static_cast<uint32_t>(code));
}

/// Bytes free on the disk of a file; absent when the platform does not tell.
std::optional<uint64_t> RoomBeside(const std::string& file) {
    uint64_t bytes = 0;
    if (!KORR_PLIM::platform::FreeSpace(fs::path(file).parent_path().string().c_str(), bytes)) {
        return std::nullopt;
    }
    return bytes;
}

std::string FreeSpaceBeside(const std::string& file) {
    const auto room = RoomBeside(file);
    return room ? FormatBytes(static_cast<double>(*room)) + " free" : "free space unknown";
}

CaptureFault NotWritten(const std::string& file, const std::string& why) {
    return {false, std::nullopt,
            "the capture file \"" + file + "\" takes no more (" + why + "; " + FreeSpaceBeside(file) +
                " on its disk): make room there, or lift the limit on file sizes"};
}

/// Why the disk of a file takes no more bytes, found by giving it some; empty when it does. A probe that
/// cannot even be opened tells nothing.
std::string RefusalOfBytes(const std::string& file) {
    const fs::path probe = fs::path(file).parent_path() / "tracehost-room.tmp";
    std::FILE* const stream = KORR_PLIM::platform::OpenShared(probe.string().c_str(), "wb");
    if (stream == nullptr) return errno == ENOSPC ? kDiskFull : "";
    const std::string bytes(kProbe, '\0');
    bool taken = std::fwrite(bytes.data(), 1, bytes.size(), stream) == bytes.size();
    taken = std::fflush(stream) == 0 && taken;
    const int error = errno;
    std::fclose(stream);
    std::error_code ignored;
    fs::remove(probe, ignored);
    if (taken) return {};
    return error == ENOSPC ? kDiskFull : std::strerror(error);
}

}  // namespace

CaptureWatch::CaptureWatch(RecordingLog& recordingLog, std::optional<uint32_t> portNumber,
                           std::string captureFile, CaptureThread captureThread)
    : log(recordingLog),
      port(portNumber),
      file(std::move(captureFile)),
      thread(std::move(captureThread)),
      identity(portNumber ? PortIdentity(*portNumber) : std::string()),
      device(portNumber ? PortDevice(*portNumber) : std::string()),
      fileIdentity(FileIdentity(file)) {}

std::optional<CaptureFault> CaptureWatch::Look(double seconds, uint64_t bytes) {
    return Look(seconds, bytes, false);
}

std::optional<CaptureFault> CaptureWatch::LastLook(double seconds, uint64_t bytes) {
    return Look(seconds, bytes, true);
}

std::optional<CaptureFault> CaptureWatch::AfterStop(double seconds) {
    if (auto fault = FromLog(seconds)) return fault;
    return FromPort(seconds, 0);
}

/// The capture thread's end comes last: it says the least of why.
std::optional<CaptureFault> CaptureWatch::Look(double seconds, uint64_t bytes, bool last) {
    const bool shorter = bytes < grownTo;
    if (bytes != grownTo) grewAt = diskLookAt = seconds;
    grownTo = bytes;
    const bool ended = ThreadHasEnded(seconds, last) && (last || seconds - *endedSince >= kOtherComes);
    if (auto fault = FromLog(seconds)) return fault;
    if (auto fault = FromPort(seconds, last || ended ? 0 : kOtherComes)) return fault;
    if (shorter || !FileIsThere()) {
        return CaptureFault{false, std::nullopt,
                            "the capture file \"" + file + "\" was removed or shortened"};
    }
    if (auto fault = FromDisk(seconds, ended)) return fault;
    if (!ended) return std::nullopt;
    return CaptureFault{false, std::nullopt, "the capture thread ended by itself"};
}

/// While the capture grows nobody has to ask.
bool CaptureWatch::ThreadHasEnded(double seconds, bool last) {
    if (endedSince) return true;
    if (!last && seconds - grewAt < kQuiet) return false;
    if (thread.Lives().value_or(true)) return false;
    endedSince = seconds;
    return true;
}

/// A port that had no place when the watch began, and is then not read any more, had vanished before that.
bool CaptureWatch::PortIsThere() const {
    if (!port) return true;
    if (identity.empty()) return !readError && !endedSince;
    return PortIdentity(*port) == identity && !HeldDeviceVanished(device);
}

/// The file in which bytes are captured, whatever stands in its place: one that was removed takes them still.
bool CaptureWatch::FileIsThere() const { return fileIdentity.empty() || FileIdentity(file) == fileIdentity; }

std::string CaptureWatch::Port() const { return port ? PortName(*port) : "the COM port"; }

/// What is wrong with the port is told by FromPort: its place and its reader notice it at different moments.
std::optional<CaptureFault> CaptureWatch::FromLog(double seconds) {
    for (const std::string& line : log.NewErrors()) {
        if (const auto code = CodeBehind(line, kReadFailed); code && !readError) {
            readError = code;
            readFailedAt = seconds;
        }
        if (const auto code = CodeBehind(line, kWriteFailed)) return NotWritten(file, WithMeaning(*code));
    }
    return std::nullopt;
}

std::optional<CaptureFault> CaptureWatch::FromPort(double seconds, double patience) {
    const bool isThere = PortIsThere();
    if (isThere) goneSince.reset();
    if (!isThere && !goneSince) goneSince = seconds;
    const std::string why = readError ? " (" + WithMeaning(*readError) + ")" : std::string();
    const std::string advice = why + ": is the probe plugged in?";
    const auto number = readError ? std::optional(static_cast<uint32_t>(*readError)) : std::nullopt;
    const bool bothTold = goneSince && readError;
    if (bothTold || (goneSince && seconds - *goneSince >= patience)) {
        return CaptureFault{true, number, Port() + " vanished" + advice};
    }
    if (!readError || seconds - readFailedAt < patience) return std::nullopt;
    return CaptureFault{true, number, Port() + " could not be read any more" + advice};
}

/// Without room the log, too, may have been unable to tell. A capture thread that lives has written all it
/// was given; only when little room is left is that looked at closer.
std::optional<CaptureFault> CaptureWatch::FromDisk(double seconds, bool atOnce) {
    if (!atOnce && seconds - diskLookAt < kStandstill) return std::nullopt;
    diskLookAt = seconds;
    const bool lives = thread.Lives().value_or(false);
    const auto room = RoomBeside(file);
    if (lives && room && *room >= kProbe * 16) return std::nullopt;
    return FromWriting(lives);
}

std::optional<CaptureFault> CaptureWatch::FromWriting(bool lives) const {
    std::error_code failure;
    const uint64_t size = fs::file_size(file, failure);
    const auto limit = FileSizeLimit();
    if (!lives && !failure && limit && size >= *limit) {
        return NotWritten(file, "a file may have no more than " + std::to_string(*limit) + " bytes");
    }
    const std::string refusal = RefusalOfBytes(file);
    if (refusal.empty()) return std::nullopt;
    return NotWritten(file, refusal);
}

}  // namespace Korr::Plim::Trace::Tracehost
