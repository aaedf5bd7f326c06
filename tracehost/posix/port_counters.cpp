#include "tracehost/port_counters.h"

#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <fcntl.h>
#include <linux/serial.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>

#include "uart/posix/device_path.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

namespace fs = std::filesystem;

bool AreOneDevice(const struct stat& one, const struct stat& other) {
    return S_ISCHR(one.st_mode) && S_ISCHR(other.st_mode) && one.st_rdev == other.st_rdev &&
           one.st_dev == other.st_dev;
}

/// A second descriptor of what this process has open on the same device: the plug-in's while it records.
/// Other threads open and close files meanwhile, so what a number stands for is asked again once it is held.
/// \return nothing when there is none; -1 and errno when it cannot be had; otherwise the caller closes it
std::optional<int> SecondOfOwn(const std::string& path) {
    struct stat wanted {};
    if (::stat(path.c_str(), &wanted) != 0) return std::nullopt;
    std::error_code failure;
    for (fs::directory_iterator entry("/proc/self/fd", failure), end; !failure && entry != end;
         entry.increment(failure)) {
        struct stat found {};
        if (::stat(entry->path().c_str(), &found) != 0 || !AreOneDevice(found, wanted)) continue;
        const int second = ::fcntl(std::atoi(entry->path().filename().c_str()), F_DUPFD_CLOEXEC, 0);
        if (second < 0 && errno == EBADF) continue;
        if (second < 0 || (::fstat(second, &found) == 0 && AreOneDevice(found, wanted))) return second;
        ::close(second);
    }
    return std::nullopt;
}

/// A descriptor that closes itself; closing one of several leaves the line as it is. A port that this process
/// has open belongs to it alone and cannot be opened again: then that one is looked through.
class Descriptor {
  public:
    explicit Descriptor(const std::string& path) {
        const std::optional<int> own = SecondOfOwn(path);
        number = own ? *own : ::open(path.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    }
    ~Descriptor() {
        if (number >= 0) ::close(number);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Number() const { return number; }

  private:
    int number = -1;
};

uint64_t Count(int value) { return static_cast<unsigned>(value); }

}  // namespace

PortGlance LookAtPort(uint32_t number) {
    PortGlance glance;
    const Descriptor port(Tarnel::DevicePath(number));
    if (port.Number() < 0) {
        glance.note = std::string("the port cannot be opened a second time: ") + std::strerror(errno);
        return glance;
    }
    termios2 settings{};
    if (::ioctl(port.Number(), TCGETS2, &settings) == 0) glance.baud = settings.c_ispeed;
    serial_icounter_struct counted{};
    if (::ioctl(port.Number(), TIOCGICOUNT, &counted) != 0) {
        glance.note = kCountersNotTold;
        return glance;
    }
    glance.counters = PortCounters{Count(counted.overrun), Count(counted.buf_overrun), Count(counted.frame),
                                   Count(counted.parity), Count(counted.brk)};
    return glance;
}

}  // namespace Korr::Plim::Trace::Tracehost
