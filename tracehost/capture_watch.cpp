#include "tracehost/capture_watch.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <utility>
#include <vector>

#include "source_utilities/file_system.h"
#include "tracehost/platform_words.h"
#include "tracehost/port_presence.h"
#include "tracehost/progress.h"

namespace Korr::Plim::Trace::Tracehost {

namespace fs = std::filesystem;

namespace {

constexpr const char* kReadFailed = "Reading COM port failed with error code ";
constexpr const char* kWriteFailed = "Writing to binary file failed with error code ";
constexpr double kOtherComes = 0.3;  // seconds between what the port's place and its reader tell
constexpr double kStandstill =
    0.5;  // seconds without growth that raise the question whether the disk is full
constexpr std::size_t kProbe = 4096;  // bytes that a disk with room takes

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

/// Whether the disk of a file still takes bytes, found by giving it some. A probe that cannot even be opened
/// tells nothing.
bool TakesBytes(const std::string& file) {
    const fs::path probe = fs::path(file).parent_path() / "tracehost-room.tmp";
    std::FILE* const stream = KORR_PLIM::platform::OpenShared(probe.string().c_str(), "wb");
    if (stream == nullptr) return errno != ENOSPC;
    const std::string bytes(kProbe, '\0');
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), stream) == bytes.size();
    const bool taken = std::fclose(stream) == 0 && written;
    std::error_code ignored;
    fs::remove(probe, ignored);
    return taken;
}

}  // namespace

CaptureWatch::CaptureWatch(RecordingLog& recordingLog, std::optional<uint32_t> portNumber,
                           std::string captureFile)
    : log(recordingLog),
      port(portNumber),
      file(std::move(captureFile)),
      identity(portNumber ? PortIdentity(*portNumber) : std::string()),
      device(portNumber ? PortDevice(*portNumber) : std::string()) {}

std::optional<CaptureFault> CaptureWatch::Look(double seconds, uint64_t bytes) {
    if (auto fault = FromLog(seconds)) return fault;
    if (auto fault = FromPort(seconds)) return fault;
    if (bytes < grownTo) {
        return CaptureFault{false, std::nullopt,
                            "the capture file \"" + file + "\" was removed or shortened"};
    }
    return FromDisk(seconds, bytes);
}

bool CaptureWatch::PortIsThere() const {
    if (!port || identity.empty()) return true;
    return PortIdentity(*port) == identity && !HeldDeviceVanished(device);
}

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

std::optional<CaptureFault> CaptureWatch::FromPort(double seconds) {
    const bool isThere = PortIsThere();
    if (isThere) goneSince.reset();
    if (!isThere && !goneSince) goneSince = seconds;
    const std::string why = readError ? " (" + WithMeaning(*readError) + ")" : std::string();
    const std::string advice = why + ": is the probe plugged in?";
    const auto number = readError ? std::optional(static_cast<uint32_t>(*readError)) : std::nullopt;
    const bool bothTold = goneSince && readError;
    if (bothTold || (goneSince && seconds - *goneSince >= kOtherComes)) {
        return CaptureFault{true, number, Port() + " vanished" + advice};
    }
    if (!readError || seconds - readFailedAt < kOtherComes) return std::nullopt;
    return CaptureFault{true, number, Port() + " could not be read any more" + advice};
}

/// Without room the log, too, may have been unable to tell.
std::optional<CaptureFault> CaptureWatch::FromDisk(double seconds, uint64_t bytes) {
    if (bytes != grownTo) {
        grownTo = bytes;
        diskLookAt = seconds;
    }
    if (seconds - diskLookAt < kStandstill) return std::nullopt;
    diskLookAt = seconds;
    const auto room = RoomBeside(file);
    if ((room && *room >= kProbe * 16) || TakesBytes(file)) return std::nullopt;
    return NotWritten(file, "the disk is full");
}

}  // namespace Korr::Plim::Trace::Tracehost
