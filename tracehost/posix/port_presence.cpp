#include "tracehost/port_presence.h"

#include <sys/stat.h>

#include "uart/posix/device_path.h"

namespace Korr::Plim::Trace::Tracehost {

/// A device that comes again gets a new node in its folder.
std::string PortIdentity(uint32_t number) {
    struct stat node {};
    if (::stat(Tarnel::DevicePath(number).c_str(), &node) != 0) return {};
    return std::to_string(node.st_dev) + ":" + std::to_string(node.st_ino) + ":" +
           std::to_string(node.st_rdev);
}

std::string PortName(uint32_t number) {
    return "COM" + std::to_string(number) + " (" + Tarnel::DevicePath(number) + ")";
}

}  // namespace Korr::Plim::Trace::Tracehost
