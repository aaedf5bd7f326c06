#pragma once

#include <cstdint>
#include <string>

namespace channel_tests {

enum class Occupation {
    kReadOnly,  ///< can be read, not written
    kLocked,  ///< cannot be opened at all: another handle shares it with nobody; on Linux, which has no such
              ///< locks, nobody has the right to
};

/// Keeps an existing file from being opened as usual, until the object goes: on Windows by another handle
/// that does not share it, on Linux, which has no such locks, by the file's permissions; the process has the
/// rights of an ordinary user meanwhile, if it has more.
class OccupiedFile {
  public:
    OccupiedFile(const std::string& name, Occupation occupation);
    ~OccupiedFile();
    OccupiedFile(const OccupiedFile&) = delete;
    OccupiedFile& operator=(const OccupiedFile&) = delete;

    /// The platform's number of the failure to open it for writing.
    uint32_t ErrorNumber() const;

  private:
    std::string name;
    std::intptr_t held = 0;  ///< the platform's: the other handle, or the permissions to restore
};

/// The platform's number of the failure to open a file that another capture writes.
uint32_t OtherCaptureErrorNumber();

}  // namespace channel_tests
