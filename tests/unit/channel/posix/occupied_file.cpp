#include "tests/unit/channel/occupied_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <stdexcept>

namespace channel_tests {

namespace {

constexpr uid_t kOrdinaryUser = 65534;

}  // namespace

OccupiedFile::OccupiedFile(const std::string& fileName, Occupation how) : name(fileName) {
    struct stat found {};
    const mode_t left = how == Occupation::kLocked ? 0 : 0444;
    if (::stat(name.c_str(), &found) != 0 || ::chmod(name.c_str(), left) != 0 ||
        (::geteuid() == 0 && ::seteuid(kOrdinaryUser) != 0)) {
        throw std::runtime_error("cannot occupy " + name);
    }
    held = found.st_mode & 07777;
}

OccupiedFile::~OccupiedFile() {
    if (::getuid() == 0 && ::seteuid(0) != 0) std::terminate();
    ::chmod(name.c_str(), static_cast<mode_t>(held));
}

uint32_t OccupiedFile::ErrorNumber() const { return EACCES; }

uint32_t OtherCaptureErrorNumber() { return EWOULDBLOCK; }

}  // namespace channel_tests
