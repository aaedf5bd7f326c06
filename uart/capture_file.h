#pragma once

#include <cstdint>
#include <string>

namespace Korr::Plim::Trace::Tarnel {

/// Seam: the raw capture file, written by one thread and readable by others while it grows. Every operation
/// but IsOpen gives false on failure; LastError then says why. The object does not close itself: the owner
/// calls Close.
class CaptureFile {
  public:
    CaptureFile() = default;
    CaptureFile(const CaptureFile&) = delete;
    CaptureFile& operator=(const CaptureFile&) = delete;

    /// Makes the file anew (an existing one is emptied). A file that is open as a capture file already, here
    /// or in another process, is refused and left as it is. \param name where the platform takes wide names,
    /// every byte becomes the character of its number, 0 to 255
    bool Create(const std::string& name);
    bool IsOpen() const { return handle != kClosed; }
    /// Appends exactly `count` bytes; 0 changes nothing. On failure what the platform took before it stays in
    /// the file.
    bool Write(const void* data, uint32_t count);
    /// Closes. The object counts as closed whatever the platform answered.
    bool Close();
    /// The platform's number of the calling thread's last failure. Not reset by a success.
    static uint32_t LastError();

  private:
    static constexpr std::intptr_t kClosed = -1;
    std::intptr_t handle = kClosed;
};

}  // namespace Korr::Plim::Trace::Tarnel
