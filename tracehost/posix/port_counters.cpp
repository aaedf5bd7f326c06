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

#include "uart/posix/device_path.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

namespace fs = std::filesystem;

/// A descriptor of this process on the same device: the plug-in's while it records. \return -1 when there is
/// none
int OwnDescriptor(const std::string& path) {
    struct stat wanted {};
    if (::stat(path.c_str(), &wanted) != 0 || !S_ISCHR(wanted.st_mode)) return -1;
    std::error_code failure;
    for (fs::directory_iterator entry("/proc/self/fd", failure), end; !failure && entry != end;
         entry.increment(failure)) {
        struct stat found {};
        const int number = std::atoi(entry->path().filename().c_str());
        const bool same = ::fstat(number, &found) == 0 && S_ISCHR(found.st_mode) &&
                          found.st_rdev == wanted.st_rdev && found.st_dev == wanted.st_dev;
        if (same) return number;
    }
    return -1;
}

/// A descriptor that closes itself; closing one of several leaves the line as it is. A port that this process
/// has open belongs to it alone and cannot be opened again: then that one is looked through.
class Descriptor {
  public:
    explicit Descriptor(const std::string& path) {
        const int own = OwnDescriptor(path);
        number = own >= 0 ? ::fcntl(own, F_DUPFD_CLOEXEC, 0)
                          : ::open(path.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
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
