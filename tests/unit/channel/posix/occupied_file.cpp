#include "tests/unit/channel/occupied_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

namespace channel_tests {

namespace {

constexpr uid_t kOrdinaryUser = 65534;
constexpr mode_t kUsual = 0666;

}  // namespace

OccupiedFile::OccupiedFile(const std::string& fileName, Occupation how) : name(fileName), occupation(how) {
    const mode_t mode = occupation == Occupation::kLocked ? 0 : 0444;
    if (::chmod(name.c_str(), mode) != 0 || (::geteuid() == 0 && ::seteuid(kOrdinaryUser) != 0)) {
        throw std::runtime_error("cannot occupy " + name);
    }
}

OccupiedFile::~OccupiedFile() {
    if (::getuid() == 0 && ::seteuid(0) != 0) std::terminate();
    ::chmod(name.c_str(), kUsual);
}

uint32_t OccupiedFile::ErrorNumber() const { return EACCES; }

}  // namespace channel_tests
