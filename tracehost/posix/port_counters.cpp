#include "tracehost/port_counters.h"

#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <fcntl.h>
#include <linux/serial.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "uart/posix/device_path.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

/// A descriptor that closes itself; closing one of several leaves the line as it is.
class Descriptor {
  public:
    explicit Descriptor(const std::string& path)
        : number(::open(path.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {}
    ~Descriptor() {
        if (number >= 0) ::close(number);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Number() const { return number; }

  private:
    int number;
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
